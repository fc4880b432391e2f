// What the requests of one session share, over HTTPS.

#include "tests/curl/httpsserver.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>

#include "libs/base/exception.h"
#include "libs/curl/curlwrapper.h"
#include "tests/support/systemlogcapture.h"

using namespace tessel;
using nebrix::test::HttpsServer;

namespace {

/// Checks no certificate, except those of the URL named.
struct Session : CurlSession {
    String checked;
    bool verifySSL(const String& url) override { return url == checked; }
};

TEST(Session, ChecksCertificatesAsTheSubclassSays) {
    const HttpsServer server([](const auto&, auto& answer) { answer.set_content("hello", "text/plain"); });
    Session session;
    Memory body;
    RequestInfo info;
    EXPECT_TRUE(session.request(server.url(), body, info));
    session.checked = server.url();
    EXPECT_FALSE(session.request(server.url(), body, info));
    EXPECT_EQ(info.getCode(), 60);
    EXPECT_EQ(body.view(), "hello");
    EXPECT_FALSE(CurlSession().request(server.url(), body)) << "unless a subclass says otherwise";
}

TEST(Session, CallersTakeTurns) {
    std::atomic<int> active = 0;
    std::atomic<int> most = 0;
    const HttpsServer server([&](const httplib::Request& request, httplib::Response& answer) {
        most = std::max(most.load(), ++active);
        answer.set_header("Set-Cookie", "seen=1; Path=/");
        answer.set_content(request.get_header_value("Cookie"), "text/plain");
        --active;
    });
    Session session;
    std::atomic<int> good = 0;
    {
        std::vector<std::future<void>> callers(4);
        for (std::future<void>& caller : callers) {
            caller = std::async(std::launch::async, [&] {
                for (int round = 0; round < 10; ++round) {
                    session.setCookie({"set", "here", "127.0.0.1", "/"});
                    session.setUserAgent("agent");
                    Memory body;
                    good += session.request(server.url(), body) && body.view().find("set=here") != body.view().npos;
                }
            });
        }
    }
    EXPECT_EQ(good, 40);
    EXPECT_EQ(most, 1);
    Memory body;
    EXPECT_TRUE(session.request(server.url(), body));
    EXPECT_NE(body.view().find("seen=1"), body.view().npos) << "the server's own cookie is kept";
}

TEST(Session, CancelEndsASilentTransfer) {
    std::promise<void> asked;
    std::promise<void> release;
    std::once_flag once;
    const HttpsServer server([&](const httplib::Request&, httplib::Response&) {
        std::call_once(once, [&] {
            asked.set_value();
            release.get_future().wait();
        });
    });
    Session session;
    RequestInfo info;
    Memory body;
    auto result = std::async(std::launch::async, [&] { return session.request(server.url(), body, info); });
    asked.get_future().wait();
    session.cancel();
    EXPECT_FALSE(result.get());
    EXPECT_EQ(info.getCode(), 42);
    EXPECT_FALSE(session.request(server.url(), body)) << "until resumed";
    release.set_value();
    session.resume();
    EXPECT_TRUE(session.request(server.url(), body));
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

TEST(Session, Escapes) {
    EXPECT_EQ(CurlSession::urlEncodeString(String("a b/\0~", 6)), "a%20b%2F%00~");
    EXPECT_EQ(CurlSession::urlEncodeString(""), "");
}

TEST(CurlEasyWrapper, RefusesAProxyTypeThatIsNone) {
    CurlEasyWrapper handle;
    const nebrix::test::SystemLogCapture log;
    EXPECT_THROW(handle.setProxy(Proxy(static_cast<Proxy::Type>(9), "h", {})), Exception);
    EXPECT_TRUE(log.contains("ERROR CurlEasyWrapper.setProxy unknown proxy type"));
}

}  // namespace
