// SPDX-License-Identifier: Apache-2.0
// What goes over the wire and what becomes of the answer, against a plain server.

#include <arpa/inet.h>
#include <curl/curl.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>
#include <mutex>
#include <thread>

#include "apps/nebrixclient/account.h"
#include "libs/base/errors.h"
#include "libs/curl/curlwrapper.h"
#include "libs/curl/tlsmessages.h"
#include "tests/support/systemlogcapture.h"

using namespace tessel;
using nebrix::test::SystemLogCapture;

namespace {

/// Plain HTTP on loopback that answers every request with the same bytes, well-formed or not, and closes.
/// One connection at a time; requests that arrive in one piece.
class RawServer {
public:
    explicit RawServer(std::string answer) : m_answer(std::move(answer)) {
        sockaddr_in address{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
        socklen_t length = sizeof address;
        ::bind(m_listener, reinterpret_cast<sockaddr*>(&address), length);
        ::listen(m_listener, 8);
        ::getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &length);
        m_port = std::to_string(ntohs(address.sin_port));
        m_thread = std::thread([this] { serve(); });
    }
    ~RawServer() {
        ::shutdown(m_listener, SHUT_RDWR);
        m_thread.join();
        ::close(m_listener);
    }

    [[nodiscard]] String url(const std::string& host = "127.0.0.1") const {
        return String::copy("http://" + host + ":" + m_port + "/p");
    }
    [[nodiscard]] std::string lastRequest() const {
        const std::lock_guard lock(m_mutex);
        return m_request;
    }
    [[nodiscard]] int requests() const {
        const std::lock_guard lock(m_mutex);
        return m_requests;
    }

private:
    void serve() {
        for (int connection = 0; (connection = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;
             ::close(connection)) {
            const std::lock_guard lock(m_mutex);
            m_request.resize(65536);
            const ssize_t got = ::recv(connection, m_request.data(), m_request.size(), 0);
            m_request.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
            ++m_requests;
            ::send(connection, m_answer.data(), m_answer.size(), MSG_NOSIGNAL);
        }
    }

    const std::string m_answer;
    const int m_listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::string m_port;
    mutable std::mutex m_mutex;
    std::string m_request;
    int m_requests = 0;
    std::thread m_thread;
};

constexpr char kOk[] = "HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nbody";

bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

/// A session that keeps what became of its last request.
struct Asking : CurlSession {
    Memory body;
    RequestInfo info;
    bool ask(const String& url) { return request(url, body, info); }
};

TEST(Transfer, keepsOnlyTheLastAnswersHeader) {
    const RawServer server(
        "HTTP/1.1 100 Continue\r\nX-Interim: 1\r\n\r\nHTTP/1.1 103 Early Hints\r\nLink: x\r\n\r\n"
        "HTTP/1.1 302 Found\r\nLocation: /q\r\nX-Last: yes\r\nContent-Length: 4\r\n\r\nbody");
    Asking session;
    session.body = String("before ");
    EXPECT_TRUE(session.ask(server.url()));
    EXPECT_EQ(session.body.view(), "before body");
    EXPECT_EQ(session.info.getCode(), 0);
    EXPECT_EQ(session.info.getResponseHeader().getResponseCode(), 302);
    EXPECT_EQ(session.info.getResponseHeader().get("x-last"), "yes");
    EXPECT_FALSE(session.info.getResponseHeader().has("X-Interim"));
    EXPECT_FALSE(session.info.getResponseHeader().has("Link"));
}

TEST(Transfer, sendsAgentCookiesAndPostedBytes) {
    const RawServer server(kOk);
    CurlSession session;
    session.setUserAgent("Agent 1");
    session.setCookie({"Nebrix-Id", "abc", "127.0.0.1", "/"});
    session.setCookie({"lost", "x", "", "/"});
    Memory body;
    ASSERT_TRUE(session.request(server.url(), body));
    EXPECT_TRUE(server.lastRequest().starts_with("GET /p HTTP/1.1\r\n")) << server.lastRequest();
    EXPECT_TRUE(has(server.lastRequest(), "\r\nUser-Agent: Agent 1\r\n"));
    EXPECT_TRUE(has(server.lastRequest(), "\r\nCookie: Nebrix-Id=abc\r\n"));
    ASSERT_TRUE(session.request(server.url(), body, String("a\0b", 3)));
    EXPECT_TRUE(server.lastRequest().starts_with("POST /p HTTP/1.1\r\n"));
    EXPECT_TRUE(server.lastRequest().ends_with(std::string("\r\n\r\na\0b", 7)));
    ASSERT_TRUE(session.request(String(server.url() + "/../a/./b"), body));
    EXPECT_TRUE(server.lastRequest().starts_with("GET /p/../a/./b HTTP/1.1\r\n"));
    struct : CurlSession {
        bool carriesCookies(const String&) override { return false; }
    } without;
    without.setCookie({"n", "v", "127.0.0.1", "/"});
    ASSERT_TRUE(without.request(server.url(), body));
    EXPECT_FALSE(has(server.lastRequest(), "Cookie"));
    // Another host, though the same server.
    ASSERT_TRUE(session.request(server.url("localhost"), body));
    EXPECT_FALSE(has(server.lastRequest(), "Cookie"));
    EXPECT_THROW(session.setCookie({"n", "v\nx", "h", "/"}), http::HeaderException);
}

TEST(Transfer, longRequestsAreWholeOrRefused) {
    const RawServer server(kOk);
    constexpr unsigned kMost = 7678;  // with cookies: URL, agent, and name and value of each
    const unsigned around = server.url("localhost").length() + 5 + String("Nebrix-Id=; ").length();
    // The lengths of path and cookie, and whether the request is sent.
    const std::tuple<unsigned, unsigned, bool> cases[] = {{kMost - around - 30, 30, true},
                                                          {30, kMost - around - 30, true},
                                                          {kMost - around - 30, 31, false},
                                                          {kMost, 1, false},
                                                          {1, 20000, false},
                                                          {40000, 0, true},
                                                          {1024 * 1024, 0, false}};
    for (const auto& [path, length, sent] : cases) {
        Asking session;
        session.setUserAgent("Agent");
        const String identifier = String::copy(std::string(length, 'i'));
        if (length != 0) {
            session.setCookie({"Nebrix-Id", identifier, "localhost", "/"});
        }
        const int before = server.requests();
        EXPECT_EQ(session.ask(server.url("localhost") + String::copy(std::string(path, 'u'))), sent);
        EXPECT_EQ(session.info.failure(), sent ? TransferFailure::None : TransferFailure::RequestTooLong) << path;
        EXPECT_EQ(server.requests() - before, sent ? 1 : 0);
        EXPECT_TRUE(!sent || length == 0 ||
                    has(server.lastRequest(), "\r\nCookie: Nebrix-Id=" + std::string(identifier.view()) + "\r\n\r\n"))
            << path;
    }
}

TEST(Transfer, answersThatAreNoneOrCutFail) {
    const std::string longLine = "HTTP/1.1 200 OK\r\nX: " + std::string(200000, 'x') + "\r\n\r\n";
    const std::tuple<std::string, int, TransferFailure> cases[] = {
        {"HTTP/1.1 200 OK\r\nContent-Length: 40\r\n\r\ncut", 18, TransferFailure::Cut},
        {"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n", 18, TransferFailure::Cut},
        {"HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\nServer: s", 18, TransferFailure::Cut},
        {"", 52, TransferFailure::Cut},
        {"SSH-2.0-server\r\n", 1, TransferFailure::NotHttp},
        {longLine, 27, TransferFailure::NotHttp},
        {"HTTP/1.1 204 No Content\n\n", 0, TransferFailure::None},
        {"HTTP/1.0 200 OK\r\n\r\nuntil the end", 0, TransferFailure::None}};
    for (const auto& [answer, code, failure] : cases) {
        const RawServer server(answer);
        Asking session;
        EXPECT_EQ(session.ask(server.url()), code == 0) << answer;
        EXPECT_EQ(session.info.getCode(), code) << answer;
        EXPECT_EQ(session.info.failure(), failure) << answer;
    }
}

TEST(Transfer, failuresAreToldAndLogged) {
    const RawServer server("HTTP/1.1 407 Proxy Authentication Required\r\nContent-Length: 0\r\n\r\n");
    const String proxyUrl = server.url();
    const std::string longProxy = "http://joe:" + std::string(300, 't') + "@[bad";
    const struct {
        const char* proxy;
        String url;
        const char* code;
        TransferFailure failure;
        int proxyStatus = 0;
    } cases[] = {{"", "file:///etc/passwd", "1", TransferFailure::Url},
                 {"", "", "3", TransferFailure::Url},
                 {"", String("http://127.0.0.1:1/\0", 20), "3", TransferFailure::Url},
                 {"", "http://user@/HOST/p", "3", TransferFailure::Url},
                 {"", "https:/127.0.0.1/p", "3", TransferFailure::Url},
                 {"", "http://127.0.0.1:65536/", "3", TransferFailure::Url},
                 {"", "http://name.invalid/", "6", TransferFailure::Name},
                 {"", "http://127.1:1/", "7", TransferFailure::Refused},
                 {"", "http://224.0.0.1/", "7", TransferFailure::NoRoute},
                 {"127.0.0.1:1", "http://127.0.0.1/", "7", TransferFailure::Proxy},
                 {"http://joe:se'c//r@t@[bad", "http://127.0.0.1/", "5", TransferFailure::Proxy},
                 {"joe:se c//r@t@[bad", "http://127.0.0.1/", "5", TransferFailure::Proxy},
                 {longProxy.c_str(), "http://127.0.0.1/", "5", TransferFailure::Proxy},
                 {"x://joe:secret@h", "http://127.0.0.1/", "7", TransferFailure::Proxy},
                 {proxyUrl.str(), "https://127.0.0.1:1/", "56", TransferFailure::Proxy, 407}};
    for (const auto& [proxy, url, code, failure, proxyStatus] : cases) {
        ::setenv("all_proxy", proxy, 1);
        const SystemLogCapture log;
        Asking session;
        const RequestInfo& info = session.info;
        EXPECT_FALSE(session.ask(url));
        const std::string name(info.getErrorString().view());
        const std::string detail(info.getErrorBuffer().view());
        EXPECT_EQ(log.count("ERROR CurlEasyWrapper.request " + name + " (#" + code + ") [" + detail + "]"), 1U);
        EXPECT_EQ(info.format().view(), "Code: " + (code + ("(" + name + ")")) + (detail.empty() ? "" : "\n" + detail));
        EXPECT_EQ(info.failure(), failure) << info.format().str();
        EXPECT_EQ(info.getProxyStatus(), proxyStatus);
        EXPECT_EQ(endOf(info, EndKind::Unreachable, "gw").httpStatus, proxyStatus) << "and so in the account";
        EXPECT_FALSE(log.contains("joe")) << proxy;
    }
    ::unsetenv("all_proxy");
    struct : Asking {
        std::vector<ProxyRoute> ways;
        std::vector<ProxyRoute> routes(const String&) override { return ways; }
    } session;
    session.ways = {{Proxy(Proxy::Type::Http, proxyUrl, {})}, {}};
    EXPECT_FALSE(session.ask("https://127.0.0.1:1/"));
    EXPECT_EQ(session.info.getProxyStatus(), 407) << "another way is none for a login";
    EXPECT_EQ(RequestInfo().format(), "Code: 0");
}

TEST(Transfer, whatNoTestCanHaveIsToldByItsNumbers) {
    const std::pair<TransferEnd, TransferFailure> cases[] = {
        {{.curlCode = CURLE_OPERATION_TIMEDOUT}, TransferFailure::Silent},
        {{.curlCode = CURLE_COULDNT_CONNECT, .systemError = ETIMEDOUT}, TransferFailure::Silent},
        {{.curlCode = CURLE_COULDNT_CONNECT, .systemError = EADDRNOTAVAIL}, TransferFailure::NoRoute},
        {{.curlCode = CURLE_COULDNT_CONNECT, .systemError = ENOMEM}, TransferFailure::Resources},
        {{.curlCode = CURLE_COULDNT_RESOLVE_HOST, .text = "its thread failed to start"}, TransferFailure::Resources},
        {{.curlCode = CURLE_OUT_OF_MEMORY}, TransferFailure::Resources}};
    for (const auto& [end, failure] : cases) {
        EXPECT_EQ(failureOf(end), failure) << end.curlCode << end.text;
    }
}

TEST(Transfer, bodiesAreBounded) {
    const RawServer server(kOk);
    for (const unsigned limit : {3U, 4U}) {
        const SystemLogCapture log;
        Asking session;
        String written;
        StringWriter writer(written);
        session.setBodyLimit(limit);
        session.setWriterLimit(limit);
        EXPECT_EQ(session.ask(server.url()), limit == 4);
        EXPECT_EQ(session.info.getCode(), limit == 4 ? 0 : 23);
        EXPECT_EQ(session.info.failure(), limit == 4 ? TransferFailure::None : TransferFailure::BodyTooLong);
        EXPECT_EQ(session.request(server.url(), writer), limit == 4);
        EXPECT_EQ(log.count("Body is longer than the limit of 3 bytes"), limit == 4 ? 0U : 2U);
    }
}

struct ActingWriter final : IWriter {
    using IWriter::write;
    std::function<void()> action;
    void write(const char*, unsigned) override { action(); }
};

TEST(Transfer, aWritersExceptionEndsTheTransferAndIsLogged) {
    const RawServer server(kOk);
    const SystemLogCapture log;
    Asking session;
    ActingWriter writer;
    writer.action = [] { throw IOException("IOException", "libs/disk", 7); };
    EXPECT_FALSE(session.request(server.url(), writer, session.info));
    EXPECT_EQ(session.info.getCode(), 23);
    EXPECT_EQ(session.info.failure(), TransferFailure::WriteFailed);
    EXPECT_EQ(log.count("TRACE Exception.catch IOException:disk:7 -> curlwrapper:"), 1U);
    EXPECT_TRUE(session.ask(server.url())) << "the session is still good";
}

TEST(TlsMessages, tellTheFirstCertificateAndTheGoodbye) {
    using namespace std::string_literals;
    const auto after = [](const std::string& bytes) {
        TlsMessages messages;
        messages.received(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
        return messages;
    };
    // TLS 1.2 with two certificates; TLS 1.3, with a context and extensions.
    for (const std::string& message : {"\x0B\0\0\x0F\0\0\x0C\0\0\x04"
                                       "cert\0\0\x02"
                                       "ca"s,
                                       "\x0B\0\0\x0D\0\0\0\x09\0\0\x04"
                                       "cert\0\0"s}) {
        EXPECT_EQ(after(message).certificate().view(), "cert");
        for (std::size_t length = 0; length < message.size(); ++length) {
            EXPECT_TRUE(after(message.substr(0, length)).certificate().empty()) << length;
        }
    }
    EXPECT_TRUE(after("\x01\0"s).closed());
    EXPECT_FALSE(after("\x02\x28"s).closed());
    EXPECT_TRUE(after("\x0D\0\0\x02\0\0"s).asked());
    EXPECT_FALSE(after("\x0D\0\0\x02\0"s).asked());
}

TEST(Transfer, itsConnectionIsNotInherited) {
    const RawServer server(kOk);
    ActingWriter writer;
    int connections[2] = {};  // those that another program would inherit, and the others
    writer.action = [&] {
        for (int fd = 0; fd < 1024; ++fd) {
            sockaddr_in peer{};
            socklen_t length = sizeof peer;
            if (::getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &length) == 0 && peer.sin_family == AF_INET) {
                ++connections[(::fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0 ? 1 : 0];
            }
        }
    };
    EXPECT_TRUE(CurlSession().request(server.url(), writer));
    EXPECT_EQ(connections[0], 0);
    EXPECT_GE(connections[1], 1);
}

}  // namespace
