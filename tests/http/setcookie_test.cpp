#include "libs/http/setcookie.h"

#include <gtest/gtest.h>

using tessel::String;
using tessel::http::SetCookie;

namespace {

std::string text(const String& value) { return std::string(value.view()); }

TEST(SetCookie, NetscapeLine) {
    SetCookie cookie("Nebrix-Id", "", "gw.example", "/");
    EXPECT_EQ(text(cookie.toNetscapeFormat()), "gw.example\tFALSE\t/\tFALSE\t0\tNebrix-Id\t");
    cookie.setSecure(true);
    cookie.setValue("a b;\xC3\xA9");
    cookie.setExpires("Thu, 01 Jan 2026 00:00:00 GMT");
    EXPECT_EQ(text(cookie.toNetscapeFormat()), "gw.example\tFALSE\t/\tTRUE\t1767225600\tNebrix-Id\ta b;\xC3\xA9");
}

TEST(SetCookie, RefusesFieldsThatWouldForgeALine) {
    std::vector<SetCookie> cookies{
        {"", "v", "d", "/"}, {"n", "v", "#HttpOnly_d", "/"}, {"n", "v", "Set-Cookie: x=y", "/"}};
    for (const String& bad : {String("x\ny"), String("x\ty"), String("x\r"), String("x\0y", 3)}) {
        cookies.insert(cookies.end(),
                       {{bad, "v", "d", "/"}, {"n", bad, "d", "/"}, {"n", "v", bad, "/"}, {"n", "v", "d", bad}});
    }
    for (const SetCookie& cookie : cookies) {
        EXPECT_THROW(static_cast<void>(cookie.toNetscapeFormat()), tessel::http::HeaderException);
    }
}

TEST(SetCookie, Expiry) {
    // "max-age", "expires", the field at 1000 seconds after 1970.
    const char* cases[][3] = {{"", "", "0"},
                              {"60", "", "1060"},
                              {"60", "Thu, 01 Jan 2026 00:00:00 GMT", "1060"},
                              {"-5", "", "1"},
                              {"9999999999", "", "10000000999"},
                              {"99999999999999999999", "", "9223372036854775807"},
                              {"soon", "1700000000", "1700000000"},
                              {"", "never", "0"},
                              {"", "Mon, 01-Jan-1900 00:00:00 GMT", "1"}};
    for (const auto& [maxAge, expires, wanted] : cases) {
        SetCookie cookie("n", "v", "d", "/");
        cookie.setMaxAge(maxAge);
        cookie.setExpires(expires);
        EXPECT_EQ(text(cookie.getNetscapeExpire(1000)), wanted) << maxAge << "|" << expires;
    }
}

TEST(SetCookie, ReadsCookieDates) {
    const std::pair<const char*, long long> cases[] = {
        {"Sun, 06 Nov 1994 08:49:37 GMT", 784111777}, {"Sunday, 06-Nov-94 08:49:37 GMT", 784111777},
        {"Sun Nov  6 08:49:37 1994", 784111777},      {"1994 6 november 8:49:37", 784111777},
        {"29 Feb 2000 00:00:00", 951782400},          {"1 Jan 69 00:00:00", 3124224000}};
    for (const auto& [date, wanted] : cases) {
        EXPECT_EQ(SetCookie::parseDate(date).value_or(-1), wanted) << date;
    }
    for (const char* date : {"29 Feb 2001 00:00:00", "31 Apr 2001 00:00:00", "1 Jan 1600 00:00:00",
                             "1 Jan 2000 24:00:00", "1 Jan 2000", "00:00:00", "1 Jan 123456 00:00:00"}) {
        EXPECT_FALSE(SetCookie::parseDate(date)) << date;
    }
}

TEST(SetCookie, ReadsAHeaderValue) {
    const SetCookie cookie = SetCookie::parse(" n = v=w ;PATH=/p; domain=.d;Max-Age=5;x;Expires=e;secure;path=/q;");
    EXPECT_EQ(text(cookie.getName() + "|" + cookie.getValue() + "|" + cookie.getPath() + "|" + cookie.getDomain() +
                   "|" + cookie.getMaxAge() + "|" + cookie.getExpires()),
              "n|v=w|/q|.d|5|e");
    EXPECT_TRUE(cookie.isSecure());
    for (const char* broken : {"", "n", "=v", " ;n=v"}) {
        EXPECT_THROW(SetCookie::parse(broken), tessel::http::EBadHeader) << broken;
    }
}

}  // namespace
