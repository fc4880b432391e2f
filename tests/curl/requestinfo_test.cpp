#include "libs/curl/requestinfo.h"

#include <gtest/gtest.h>

#include "libs/base/exception.h"
#include "libs/curl/curlwrapper.h"
#include "tests/support/systemlogcapture.h"

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
    const std::tuple<unsigned, const char*, const char*, const char*> cases[] = {
        {0x0800FF, "", "", ""}, {0x080100, "", "", "9999999999"}, {0x0803FF, "", "0", "9999999999"},
        {0x080400, "", "", ""}, {0x080200, "5", "", "5"},         {0x080200, "", "1767225600", ""}};
    for (const auto& [version, maxAge, expires, wanted] : cases) {
        http::SetCookie cookie("n", "v", "d", "/");
        cookie.setMaxAge(maxAge);
        cookie.setExpires(expires);
        EXPECT_EQ(CurlSession::keptByLibcurl(cookie, version).getMaxAge(), wanted) << version << expires;
    }
}

TEST(Session, EscapesAndVersion) {
    EXPECT_EQ(CurlSession::urlEncodeString(String("a b/\0~", 6)), "a%20b%2F%00~");
    EXPECT_EQ(CurlSession::urlEncodeString(""), "");
    EXPECT_TRUE(CurlInitializer::getCurlFullVersion().starts("libcurl/"));
}

TEST(CurlEasyWrapper, RefusesAProxyTypeThatIsNone) {
    CurlEasyWrapper handle;
    const nebrix::test::SystemLogCapture log;
    EXPECT_THROW(handle.setProxy(Proxy(static_cast<Proxy::Type>(9), "h", {})), Exception);
    EXPECT_TRUE(log.contains("ERROR CurlEasyWrapper.setProxy unknown proxy type"));
}

}  // namespace
