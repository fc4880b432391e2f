// Against the programs that stand in front of real gateways.

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include "libs/curl/curlwrapper.h"
#include "tests/curl/httpsserver.h"
#include "tests/curl/rawserver.h"
#include "tests/support/childprocess.h"

using namespace tessel;

namespace {

struct Unchecked : CurlSession {
    Proxy proxy;
    RequestInfo info;
    bool verifySSL(const String&) override { return false; }
    Proxy getProxy(const String&) override { return proxy; }
    bool saysHello(const std::string& url) {
        Memory body;
        return request(String::copy(url), body, info) && body.view() == "hello";
    }
};

/// A program that listens on a port of its own; none when it is not installed.
class Peers : public testing::Test {
protected:
    bool start(std::vector<std::string> words) {
        if (::access(words.front().c_str(), X_OK) != 0) {
            return false;
        }
        m_program.emplace(std::move(words));
        Unchecked session;
        for (session.saysHello("http://127.0.0.1:" + m_port);
             session.info.getCode() == 7 && !m_program->wait(kPause);) {
            session.saysHello("http://127.0.0.1:" + m_port);
        }
        return true;
    }

    static constexpr nebrix::test::ChildProcess::Milliseconds kPause{10};
    const nebrix::test::CertificateFiles m_files;
    /// Free a moment ago.
    const std::string m_port = nebrix::test::RawServer("").port();
    std::optional<nebrix::test::ChildProcess> m_program;
};

TEST_F(Peers, NginxWithHttp2) {
    const auto& directory = m_files.directory;
    const std::string conf = directory.write(
        "nginx.conf",
        "daemon off; master_process off; pid nginx.pid; error_log stderr; events {} http { access_log access.log; "
        "client_body_temp_path b; proxy_temp_path p; fastcgi_temp_path f; uwsgi_temp_path u; scgi_temp_path s; "
        "server { listen 127.0.0.1:" +
            m_port + " ssl http2; ssl_certificate " + m_files.certificate + "; ssl_certificate_key " + m_files.key +
            "; location / { return 200 hello; } } }");
    if (!start({"/usr/sbin/nginx", "-p", directory.path(), "-c", conf, "-e", "stderr"})) {
        GTEST_SKIP() << "nginx is not installed (scripts/setup.sh installs it)";
    }
    Unchecked session;
    EXPECT_TRUE(session.saysHello("https://127.0.0.1:" + m_port + "/")) << m_program->errors();
    EXPECT_TRUE(session.info.getResponseHeader().getStatusLine().starts("HTTP/1.1 200"));
}

TEST_F(Peers, TinyproxyNamedByTheEnvironmentOrTheSession) {
    const nebrix::test::HttpsServer gateway(
        [](const auto&, auto& answer) { answer.set_content("hello", "text/plain"); });
    const std::string url(gateway.url().view());
    const std::string conf = m_files.directory.write(
        "tinyproxy.conf",
        "Port " + m_port + "\nListen 127.0.0.1\nTimeout 60\nMaxClients 10\nLogLevel Connect\nBasicAuth joe secret\n");
    if (!start({"/usr/bin/tinyproxy", "-d", "-c", conf})) {
        GTEST_SKIP() << "tinyproxy is not installed (scripts/setup.sh installs it)";
    }
    for (const std::string password : {"secret", "wrong"}) {
        ::setenv("https_proxy", ("http://joe:" + password + "@127.0.0.1:" + m_port).c_str(), 1);
        Unchecked session;
        EXPECT_EQ(session.saysHello(url), password == "secret") << m_program->errors() << m_program->output();
    }
    ::unsetenv("https_proxy");
    EXPECT_TRUE(m_program->waitForOutput("CONNECT 127.0.0.1:")) << m_program->output();
    Unchecked named;
    named.proxy = Proxy(Proxy::Type::Http, String::copy("127.0.0.1:" + m_port), Credentials("joe", "secret"));
    EXPECT_TRUE(named.saysHello(url));
    EXPECT_EQ(named.info.getResponseHeader().getResponseCode(), 200);
}

}  // namespace
