// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/proxysearch.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>

#include "libs/base/platform.h"
#include "tests/support/systemlogcapture.h"
#include "tests/support/temporarydirectory.h"

namespace tessel::test {
namespace {

class ProxySearchTest : public testing::Test {
protected:
    /// Of a program that does this.
    std::string ways(const std::string& script, const String& url = "https://me@gw.example:8443/secret?x") {
        const std::string program = m_directory.write("query", "#!/bin/sh\n" + script + "\n");
        ::chmod(program.c_str(), 0700);
        m_search = std::make_unique<ProxySearch>(String::copy(program));
        m_search->begin(url);
        return again(url);
    }
    std::string again(const String& url = "https://gw.example:8443/other") {
        std::string all;
        for (const ProxyRoute& route : m_search->routes(url, m_cancelled)) {
            all += std::string(route.shown().view()) + ";";
        }
        return all;
    }

    const nebrix::test::TemporaryDirectory m_directory;
    const nebrix::test::SystemLogCapture m_log;
    std::atomic<bool> m_cancelled{false};
    std::unique_ptr<ProxySearch> m_search;
};

TEST_F(ProxySearchTest, takesTheAnswersInTheirOrderAndPutsLastWhatDoesNotWork) {
    EXPECT_EQ(ways("printf 'http://a:b@p:1\\nwpad://\\nsocks://q\\n\\ndirect://\\n' >&3; echo http://noise"),
              "http p:1;socks5 q:1080;socks4 q:1080;direct;");
    EXPECT_FALSE(m_log.contains("a:b"));
    m_search->prefer("https://gw.example:8443/", {Proxy(Proxy::Type::Socks5, "q:1080", {})});
    EXPECT_EQ(again(), "socks5 q:1080;socks4 q:1080;direct;http p:1;");
    EXPECT_EQ(ways("printf '%s\\n' \"http://$(basename \"$1\")\" >&3"), "http gw.example:8443;")
        << "nothing else is told";
    EXPECT_EQ(ways("echo http://p:1 >&3; printf http://q >&3; kill -9 $$"), "http p:1;") << "one is not whole";
    EXPECT_EQ(ways("echo http://p:1 >&3", "https://a@secret@gw/"), "") << "nobody is asked for what is no server";
    EXPECT_EQ(ways("yes http://p:1 | head -c 8000 >&3").size(), 16 * std::string("http p:1;").size());
}

TEST_F(ProxySearchTest, isGivenUpAfterItsTimeOrWhenItIsCancelled) {
    using Clock = std::chrono::steady_clock;
    const std::string program = m_directory.write("early", "#!/bin/sh\necho http://p:1 >&3\n");
    ::chmod(program.c_str(), 0700);
    ProxySearch early{String::copy(program)};
    early.begin("https://gw/");
    for (const bool cancels : {false, true}) {
        m_cancelled = cancels;
        const Clock::time_point begin = Clock::now();
        EXPECT_EQ(ways("echo http://p:1 >&3; exec sleep 60"), "");
        EXPECT_LT(Clock::now() - begin, cancels ? std::chrono::seconds(2) : std::chrono::seconds(5));
        EXPECT_EQ(m_log.count("WARNING ProxySearch.routes "), 1U) << "not of what was cancelled";
    }
    EXPECT_EQ(early.routes("https://gw/", false).size(), 1U) << "an answer that came in time";
}

TEST_F(ProxySearchTest, endsWhatTheProgramHasStarted) {
    const std::string path = m_directory.path("held");
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    const Descriptor held(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    EXPECT_EQ(ways("exec 4>" + path + "; sleep 60 3>&- & exec 3>&-; wait"), "");
    pollfd end{held.get(), POLLIN, 0};
    EXPECT_EQ(::poll(&end, 1, 5000), 1);
}

TEST_F(ProxySearchTest, asksNobodyWhereTheEnvironmentNamesAProxy) {
    const std::tuple<const char*, bool, bool> cases[] = {{"https_proxy", true, false}, {"HTTPS_PROXY", true, false},
                                                         {"http_proxy", false, true},  {"HTTP_PROXY", false, false},
                                                         {"all_proxy", true, true},    {"ALL_PROXY", true, true},
                                                         {"no_proxy", false, false}};
    for (const auto& [name, https, http] : cases) {
        for (const char* value : {"", "http://p:1"}) {
            ::setenv(name, value, 1);
            EXPECT_EQ(ProxySearch::environmentDecides("HTTPS://gw/"), https && *value != '\0') << name;
            EXPECT_EQ(ProxySearch::environmentDecides("http://gw/"), http && *value != '\0') << name;
        }
        ::unsetenv(name);
    }
}

}  // namespace
}  // namespace tessel::test
