// SPDX-License-Identifier: Apache-2.0
// What the requests of one session share, over HTTPS, and how they reach the programs in front of real gateways.

#include <curl/curl.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <thread>

#include "libs/curl/curlwrapper.h"
#include "libs/openssl/certificateauthority.h"
#include "libs/openssl/fingerprint.h"
#include "libs/openssl/peercertificate.h"
#include "libs/openssl/selfsignedcertificate.h"
#include "tests/support/childprocess.h"

using namespace tessel;
using nebrix::test::ChildProcess;

namespace {

/// A PEM file that stands for the machine's bundle; empty for its own.
std::string g_trusted;

}  // namespace

// The linker puts it in front of libcurl's.
extern "C" curl_version_info_data* __real_curl_version_info(CURLversion age);
extern "C" curl_version_info_data* __wrap_curl_version_info(CURLversion age) {
    static curl_version_info_data changed = *__real_curl_version_info(age);
    changed.cainfo = g_trusted.empty() ? __real_curl_version_info(age)->cainfo : g_trusted.c_str();
    return &changed;
}

namespace {

/// The files of a certificate that signed itself.
struct CertificateFiles {
    explicit CertificateFiles(const char* name = "localhost", int days = 1) {
        const tls::SelfSignedCertificate made({{name}, {"127.0.0.1"}}, tls::SelfSignedCertificate::Key::EcP256, days);
        made.writeFiles(String::copy(certificate), String::copy(key));
    }
    nebrix::test::TemporaryDirectory directory;
    std::string certificate = directory.path("cert.pem");
    std::string key = directory.path("key.pem");
};

/// HTTPS on loopback with one handler for every GET.
class HttpsServer {
public:
    explicit HttpsServer(const httplib::Server::Handler& handler, const char* address = "127.0.0.1",
                         const CertificateFiles& files = CertificateFiles())
        : m_server(files.certificate.c_str(), files.key.c_str()) {
        m_server.Get(".*", handler);
        m_server.Post(".*", handler);
        m_server.set_keep_alive_max_count(1);
        m_port = m_server.bind_to_any_port(address);
        m_thread = std::thread([this] { m_server.listen_after_bind(); });
        while (!m_server.is_running()) {
            std::this_thread::yield();
        }
    }
    ~HttpsServer() {
        m_server.stop();
        m_thread.join();
    }
    [[nodiscard]] String url(const std::string& host = "127.0.0.1") const {
        return String::copy("https://" + host + ":" + std::to_string(m_port) + "/");
    }

    [[nodiscard]] int port() const { return m_port; }

    [[nodiscard]] SSL_CTX* context() const { return m_server.ssl_context(); }

private:
    httplib::SSLServer m_server;
    int m_port = 0;
    std::thread m_thread;
};

void sayHello(const httplib::Request& /*request*/, httplib::Response& answer) {
    answer.set_content("hello", "text/plain");
}

/// A session that keeps what became of its last request.
struct Asking : CurlSession {
    Memory body;
    RequestInfo info;
    bool ask(const String& url) {
        body = Memory();
        return request(url, body, info);
    }
};

/// Checks no certificate, except those of the URL named.
struct Session : Asking {
    String checked;
    Proxy proxy;
    std::vector<ProxyRoute> ways;
    std::shared_ptr<const TlsCredentials> own;
    std::vector<ProxyRoute> routes(const String&) override { return ways; }
    void took(const String&, const ProxyRoute& route) override { ways = {route}; }
    std::shared_ptr<const TlsCredentials> credentials(const String&) override { return own; }
    bool verifySSL(const String& url) override { return url == checked; }
    Proxy getProxy(const String&) override { return proxy; }
    bool saysHello(const std::string& url) { return ask(String::copy(url)) && body.view() == "hello"; }
};

TEST(Session, checksCertificatesAsTheSubclassSays) {
    const HttpsServer server(sayHello);
    Session session;
    EXPECT_TRUE(session.ask(server.url()));
    session.checked = server.url();
    EXPECT_FALSE(session.ask(server.url()));
    EXPECT_EQ(session.info.getCode(), 60);
    EXPECT_EQ(session.body.view(), "");
    EXPECT_FALSE(Asking().ask(server.url())) << "unless a subclass says otherwise";
}

/// Checks every certificate.
struct CheckingSession : Asking {
    std::shared_ptr<const tls::PeerCertificate> describeCertificate(const String&, const Memory& der,
                                                                    long verifyError) override {
        return tls::PeerCertificate::describe(der, verifyError);
    }
};

TEST(Session, saysWhoseCertificateItRefusedAndWhy) {
    using Reason = tls::PeerCertificate::Reason;
    // The certificate's name and days, whether it is trusted, the URL's host, and what is wrong then.
    const std::tuple<const char*, int, bool, const char*, std::optional<Reason>> cases[] = {
        {"localhost", 1, true, "localhost", std::nullopt},
        {"localhost", 1, true, "127.0.0.1", std::nullopt},
        {"other.example", 1, true, "localhost", Reason::OtherName},
        {"localhost", 1, false, "localhost", Reason::SelfSigned},
        {"localhost", 0, true, "localhost", Reason::Expired}};
    for (const auto& [name, days, trusted, host, reason] : cases) {
        const CertificateFiles files(name, days);
        const HttpsServer server(sayHello, "127.0.0.1", files);
        g_trusted = trusted ? files.certificate : std::string();
        CheckingSession session;
        EXPECT_EQ(session.ask(server.url(host)), !reason) << name << days << host;
        const RequestInfo info(session.info);
        ASSERT_EQ(info.getPeerCertificate() != nullptr, reason.has_value()) << name << days << host;
        if (reason) {
            EXPECT_EQ(info.failure(), TransferFailure::Certificate);
            EXPECT_EQ(info.getPeerCertificate()->reason, *reason) << info.getPeerCertificate()->verifyText.str();
            EXPECT_EQ(info.getPeerCertificate()->names, (Strings{name, "127.0.0.1"}));
        } else {
            EXPECT_TRUE(session.ask(server.url(host)));
            EXPECT_EQ(SSL_CTX_sess_accept(server.context()), 3) << "the directory, then the bundle, then that at once";
        }
    }
    g_trusted.clear();
    const HttpsServer proxy({});
    ::setenv("all_proxy", proxy.url().str(), 1);
    CheckingSession session;
    EXPECT_FALSE(session.ask("https://localhost/"));
    EXPECT_EQ(session.info.failure(), TransferFailure::Proxy) << "it is the proxy's certificate";
    ::unsetenv("all_proxy");
}

/// Takes one key alone, whoever signed its certificate.
struct PinningSession : CheckingSession {
    std::optional<Memory> key;
    ServerCheck serverCheck(const String&) override { return {.certificate = false, .key = key}; }
};

TEST(Session, sendsNothingToAServerWithoutThePinnedKey) {
    std::atomic<int> asked = 0;
    const HttpsServer server([&](const auto&, auto& answer) {
        ++asked;
        answer.set_content("hello", "text/plain");
    });
    PinningSession session;
    const auto ask = [&](const std::optional<Memory>& key) {
        session.key = key;
        return session.request(server.url(), session.body, "post", session.info) && asked.exchange(0) == 1;
    };
    EXPECT_FALSE(ask(Memory()));
    const auto peer = session.info.getPeerCertificate();
    ASSERT_NE(peer, nullptr);
    const Memory key = tls::fingerprintBytes(peer->keyFingerprint);
    EXPECT_TRUE(ask(std::nullopt)) << "which leaves a session that could be resumed";
    EXPECT_TRUE(ask(key));
    for (const Memory& other : {tls::fingerprintBytes(peer->fingerprint), Memory(), Memory(String("short"))}) {
        EXPECT_FALSE(ask(other));
        EXPECT_EQ(asked, 0);
        EXPECT_EQ(session.info.failure(), TransferFailure::Certificate);
        EXPECT_NE(session.info.getPeerCertificate(), nullptr);
    }
}

TEST(Session, trustsTheGivenAuthoritiesAlone) {
    const CertificateFiles files;
    const CertificateFiles others;
    const HttpsServer server(sayHello, "127.0.0.1", files);
    for (const auto& [trusted, arrives] : {std::pair(&files, true), {&others, false}}) {
        g_trusted = files.certificate;
        Session session;
        session.checked = server.url();
        session.own = std::make_shared<TlsCredentials>(
            TlsCredentials{.authoritiesPem = String::copy(nebrix::test::readFile(trusted->certificate))});
        EXPECT_EQ(session.saysHello(session.checked.str()), arrives);
        g_trusted.clear();
    }
}

TEST(Session, takesTheNextWayWhereOneLeadsNowhere) {
    const HttpsServer server(sayHello);
    const ProxyRoute dead{Proxy(Proxy::Type::Http, "127.0.0.1:1", {})};
    Session session;
    session.ways = {dead, {}};
    EXPECT_TRUE(session.saysHello(server.url().str()));
    EXPECT_TRUE(session.ways.size() == 1 && session.ways[0].sameWay({})) << "the one that it took";
    session.ways = {dead, dead};
    ::setenv("no_proxy", "*", 1);
    EXPECT_FALSE(session.saysHello(server.url().str()));
    ::unsetenv("no_proxy");
    EXPECT_EQ(session.info.failure(), TransferFailure::Proxy);
    ::setenv("https_proxy", "http://127.0.0.1:1", 1);
    session.ways = {{}};
    EXPECT_TRUE(session.saysHello(server.url().str())) << "straight, whatever the environment says";
    ::unsetenv("https_proxy");
}

TEST(Session, aBodyThatEndsWithTheConnectionNeedsItsGoodbye) {
    // The status, whether the goodbye comes, and whether the body is whole.
    const std::tuple<int, bool, bool> cases[] = {{200, true, true}, {200, false, false}, {204, false, true}};
    for (const auto& [status, goodbye, whole] : cases) {
        const HttpsServer server([status = status, goodbye = goodbye](const auto&, httplib::Response& answer) {
            answer.status = status;
            answer.set_content_provider("text/plain", [goodbye](std::size_t, httplib::DataSink& sink) {
                sink.write("hello", 5);
                sink.done();
                return goodbye;
            });
        });
        Session session;
        EXPECT_EQ(session.ask(server.url()), whole);
        EXPECT_EQ(session.body.view(), status == 200 ? "hello" : "");
        EXPECT_EQ(session.info.failure(), whole ? TransferFailure::None : TransferFailure::Cut);
    }
}

TEST(Session, theCookieReachesItsHostHoweverThatIsWritten) {
    // Where it listens, what the URL says, what the cookie says.
    const char* cases[][3] = {{"::1", "[::1]", "::1"},
                              {"::1", "[0:0::1]", "0:0::1"},
                              {"127.0.0.1", "127.1", "127.1"},
                              {"127.0.0.1", "B\u00FCcher.localhost", "b\u00FCcher.localhost"},
                              {"127.0.0.1", "b%C3%BCcher.localhost", "xn--bcher-kva.localhost"},
                              {"127.0.0.1", "XN--bcher-kva.localhost", "b\u00FCcher.localhost"}};
    for (const auto& [address, host, domain] : cases) {
        const HttpsServer server(
            [](const auto& request, auto& answer) { answer.set_content(request.get_header_value("Cookie"), "t/p"); },
            address);
        if (server.port() < 0) {
            GTEST_SKIP() << "no " << address << " on this machine";
        }
        Session session;
        http::SetCookie cookie("Nebrix-Id", "abc", domain, "/");
        cookie.setSecure(true);
        session.setCookie(cookie);
        EXPECT_TRUE(session.ask(server.url(host))) << session.info.format().str();
        EXPECT_EQ(session.body.view(), "Nebrix-Id=abc") << host;
    }
}

TEST(Session, tellsItsLibrariesWithoutAskingTheNetwork) {
    const String text = CurlInitializer::getCurlFullVersion();
    EXPECT_TRUE(text.starts("libcurl/7.") || text.starts("libcurl/8.")) << text.str();
    EXPECT_NE(text.find(" OpenSSL/"), String::npos) << text.str();
    EXPECT_NE(text.find(" zlib/"), String::npos) << text.str();
    EXPECT_EQ(text.find("OpenLDAP"), String::npos) << "only curl_version() knows it, which looks the machine's name up";
}

TEST(Session, callersTakeTurns) {
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
    EXPECT_TRUE(session.ask(server.url()));
    EXPECT_NE(session.body.view().find("seen=1"), std::string::npos) << "the server's own cookie is kept";
}

TEST(Session, sessionCookiesGetAMaxAgeWhereLibcurlNeedsOne) {
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

/// A program that listens on a port of its own; none when it is not installed.
class Peers : public testing::Test {
protected:
    bool start(std::vector<std::string> words) {
        if (::access(words.front().c_str(), X_OK) != 0) {
            return false;
        }
        m_program.emplace(std::move(words));
        Session session;
        for (session.saysHello("http://127.0.0.1:" + m_port);
             session.info.getCode() == 7 && !m_program->wait(kPause);) {
            session.saysHello("http://127.0.0.1:" + m_port);
        }
        return true;
    }

    bool startNginx(const std::string& listens, const std::string& directives) {
        const auto& directory = m_files.directory;
        const std::string conf = directory.write(
            "nginx.conf",
            "daemon off; master_process off; pid nginx.pid; error_log stderr; events {} http { access_log access.log; "
            "client_body_temp_path b; proxy_temp_path p; fastcgi_temp_path f; uwsgi_temp_path u; scgi_temp_path s; "
            "server { listen 127.0.0.1:" +
                m_port + " ssl" + listens + "; ssl_certificate " + m_files.certificate + "; ssl_certificate_key " +
                m_files.key + "; " + directives + "location / { return 200 hello; } } }");
        return start({"/usr/sbin/nginx", "-p", directory.path(), "-c", conf, "-e", "stderr"});
    }

    static constexpr ChildProcess::Milliseconds kPause{10};
    const CertificateFiles m_files;
    /// Free a moment ago.
    const std::string m_port = std::to_string(HttpsServer({}).port());
    std::optional<ChildProcess> m_program;
};

TEST_F(Peers, nginxWithHttp2) {
    if (!startNginx(" http2", "")) {
        GTEST_SKIP() << "nginx is not installed (scripts/setup.sh installs it)";
    }
    Session session;
    EXPECT_TRUE(session.saysHello("https://127.0.0.1:" + m_port + "/")) << m_program->errors();
    EXPECT_TRUE(session.info.getResponseHeader().getStatusLine().starts("HTTP/1.1 200"));
}

TEST_F(Peers, nginxAsksForACertificateEveryTime) {
    const tls::CertificateAuthority authority("authority.example");
    m_files.directory.write("ca.pem", std::string(authority.certificatePem().view()));
    const tls::IssuedCertificate me = authority.issue({{"me"}, {}}, tls::CertificateAuthority::Purpose::Client);
    if (!startNginx("", "ssl_client_certificate ca.pem; ssl_verify_client on; ssl_session_cache shared:s:1m; ")) {
        GTEST_SKIP() << "nginx is not installed (scripts/setup.sh installs it)";
    }
    const std::string url = "https://127.0.0.1:" + m_port + "/";
    const auto file = [](const std::string& path) { return String::copy(nebrix::test::readFile(path)); };
    for (const auto& [own, arrives] : {std::pair(TlsCredentials(), false),
                                       {{"", me.certificatePem, me.keyPem}, true},
                                       {{"", file(m_files.certificate), file(m_files.key)}, false}}) {
        Session session;
        session.own = std::make_shared<TlsCredentials>(own);
        for (const char* time : {"first", "second"}) {
            EXPECT_EQ(session.saysHello(url), arrives) << time;
            EXPECT_TRUE(session.info.askedForIdentity()) << time;
            EXPECT_EQ(session.info.hadIdentity(), !own.keyPem.empty()) << time;
        }
    }
}

TEST_F(Peers, tinyproxyNamedByTheEnvironmentOrTheSession) {
    const HttpsServer gateway(sayHello);
    const std::string url(gateway.url().view());
    const std::string conf = m_files.directory.write(
        "tinyproxy.conf",
        "Port " + m_port + "\nListen 127.0.0.1\nTimeout 60\nMaxClients 10\nLogLevel Connect\nBasicAuth joe secret\n");
    if (!start({"/usr/bin/tinyproxy", "-d", "-c", conf})) {
        GTEST_SKIP() << "tinyproxy is not installed (scripts/setup.sh installs it)";
    }
    for (const std::string password : {"secret", "wrong"}) {
        ::setenv("https_proxy", ("http://joe:" + password + "@127.0.0.1:" + m_port).c_str(), 1);
        Session session;
        EXPECT_EQ(session.saysHello(url), password == "secret") << m_program->errors() << m_program->output();
    }
    ::unsetenv("https_proxy");
    EXPECT_TRUE(m_program->waitForOutput("CONNECT 127.0.0.1:")) << m_program->output();
    Session named;
    named.proxy = Proxy(Proxy::Type::Http, String::copy("127.0.0.1:" + m_port), Credentials("joe", "secret"));
    EXPECT_TRUE(named.saysHello(url));
    EXPECT_EQ(named.info.getResponseHeader().getResponseCode(), 200);
    for (const Credentials& useless : {Credentials(), Credentials("joe", "wrong")}) {
        named.ways = {{Proxy(Proxy::Type::Http, named.proxy.getHost(), useless)}, {}};
        EXPECT_FALSE(named.saysHello(url)) << "a login that is refused leads nowhere else";
    }
}

}  // namespace
