// What the requests of one session share, over HTTPS.

#include "tests/curl/httpsserver.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>

#include "libs/curl/curlwrapper.h"

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
    EXPECT_TRUE(CurlSession().verifySSL(server.url()));
    EXPECT_EQ(CurlSession().getProxy(server.url()).getType(), Proxy::Type::None);
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
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 10; ++round) {
                session.setCookie({"set", "here", "127.0.0.1", "/"});
                session.setUserAgent("agent");
                Memory body;
                good += session.request(server.url(), body) && body.view().find("set=here") != body.view().npos;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
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

}  // namespace
