#include "libs/curl/requestinfo.h"

#include <gtest/gtest.h>

#include "libs/base/exception.h"
#include "libs/curl/curlwrapper.h"

using namespace tessel;

namespace {

TEST(RequestInfo, Format) {
    EXPECT_EQ(RequestInfo().format(), "Code: 0");
    RequestInfo info;
    CurlSession session;
    Memory body;
    session.request("http://name.invalid/", body, info);
    EXPECT_EQ(info.format(), String("Code: 6(" + info.getErrorString() + ")\nCould not resolve host: name.invalid"));
    session.request(String("http://h\0/", 10), body, info);
    EXPECT_EQ(info.format(), String("Code: 3(" + info.getErrorString() + ")"));
}

TEST(Session, SessionCookiesGetAMaxAgeWhereLibcurlNeedsOne) {
    const struct {
        unsigned version;
        const char *maxAge, *expires, *wanted;
    } cases[] = {{0x0800FF, "", "", ""},           {0x080100, "", "", "9999999999"}, {0x080200, "", "0", "9999999999"},
                 {0x0803FF, "", "", "9999999999"}, {0x080400, "", "", ""},           {0x080500, "", "", ""},
                 {0x080200, "5", "", "5"},         {0x080200, "", "1767225600", ""}};
    for (const auto& c : cases) {
        http::SetCookie cookie("n", "v", "d", "/");
        cookie.setMaxAge(c.maxAge);
        cookie.setExpires(c.expires);
        EXPECT_EQ(CurlSession::keptByLibcurl(cookie, c.version).getMaxAge(), c.wanted) << c.version << c.expires;
    }
}

TEST(Session, EscapesAndVersion) {
    EXPECT_EQ(CurlSession::urlEncodeString(String("a b/\0~", 6)), "a%20b%2F%00~");
    EXPECT_EQ(CurlSession::urlEncodeString(""), "");
    EXPECT_TRUE(CurlInitializer::getCurlFullVersion().starts("libcurl/"));
}

TEST(CurlEasyWrapper, RefusesAProxyTypeThatIsNone) {
    CurlEasyWrapper handle;
    const Proxy proxy(static_cast<Proxy::Type>(9), "h", {});
    try {
        handle.setProxy(proxy);
        FAIL();
    } catch (const Exception& caught) {
        EXPECT_EQ(caught.toString(), "Exception:curlwrapper:303");
    }
}

}  // namespace
