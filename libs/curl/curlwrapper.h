// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "libs/base/memory.h"
#include "libs/base/mutex.h"
#include "libs/base/serialize.h"
#include "libs/base/string.h"
#include "libs/curl/curleasy.h"
#include "libs/curl/errors.h"
#include "libs/curl/requestinfo.h"
#include "libs/http/proxy.h"
#include "libs/http/setcookie.h"

namespace tessel {

/// Process-wide set-up of libcurl; every session sees to it itself. Any thread may call.
class CurlInitializer {
public:
    /// Initialises libcurl on the first call; it stays so until the process ends, since threads may outlive main().
    static void initialize();
    /// libcurl's version text, with those of the libraries that it tells of at once. (curl_version() names one more,
    /// OpenLDAP, whose start loads plug-ins and asks the network for this machine's name.)
    static String getCurlFullVersion();
};

/// What a server must show before anything of a request is sent to it.
struct ServerCheck {
    /// Whether its certificate must come from an issuer whom this machine trusts, be valid today and name the host.
    bool certificate = true;
    /// The SHA-256 digest of the SubjectPublicKeyInfo that it must have besides (RFC 7469, 2.4); nothing for any key.
    /// What is not 32 bytes long fits none.
    std::optional<Memory> key{};
};

/// HTTP and HTTPS requests that share their cookies, DNS cache and TLS sessions. Each request is made with a libcurl
/// handle of its own, in HTTP/1.1, without redirection and without a time limit.
///
/// Any thread may make a request; one transfer runs at a time and the others wait their turn, since libcurl does not
/// support cookies and TLS sessions shared between handles that run at once. Everything else returns at once on any
/// thread, also during a transfer. The session must outlive the requests.
class CurlSession {
public:
    /// Bodies that go into a Memory, at most this long unless setBodyLimit() says otherwise.
    static constexpr std::uint64_t kBodyLimit = 16 * 1024 * 1024;

    /// Raises ECurl when libcurl cannot be set up.
    CurlSession();
    CurlSession(const CurlSession&) = delete;
    CurlSession& operator=(const CurlSession&) = delete;

    /// Whether the certificate of the URL's server is checked, and which proxy is used: asked once for each request,
    /// with its URL as it was given, on its thread, when its turn has come. They must not make requests of this
    /// session.
    virtual bool verifySSL(const String& url);
    virtual Proxy getProxy(const String& url);
    virtual ~CurlSession();
    // Asked and bound as the two above.
    /// Whether the request carries the session's cookies and keeps those of its answer. At first always; libcurl then
    /// sends secure ones over https only, and over http to this machine.
    virtual bool carriesCookies(const String& url);
    /// All that is checked of the URL's server: at first what verifySSL() says, and any key.
    virtual ServerCheck serverCheck(const String& url);
    /// What RequestInfo::getPeerCertificate() gives for a request that failed for the server's certificate: the facts
    /// of this one (DER), for which OpenSSL has this code (X509_V_..., 0 when only its names or its key were wrong).
    /// At first null.
    virtual std::shared_ptr<const tls::PeerCertificate> describeCertificate(const String& url, const Memory& der,
                                                                            long verifyError);
    /// What its TLS connection has of its own: at first nothing, which is null.
    virtual std::shared_ptr<const TlsCredentials> credentials(const String& url);
    /// Where getProxy() names none, the ways that the request takes one after the other, each only when the one before
    /// failed before anything was sent. At first none, which leaves the choice to the environment.
    virtual std::vector<ProxyRoute> routes(const String& url);
    /// Which of them it took in the end.
    virtual void took(const String& url, const ProxyRoute& route);
    /// Whether a request that was refused for this certificate (null where nobody described it), of which nothing was
    /// sent, is made once more: serverCheck() is then asked again. At first never.
    virtual bool retries(const String& url, const tls::PeerCertificate* refused);

    void setUserAgent(const String& userAgent);
    /// Raises HeaderException for a cookie that cannot be written safely (see SetCookie). Its domain is a host without
    /// port, an IPv6 address without brackets, an international name in either form. One without domain belongs to no
    /// host and is never sent.
    void setCookie(const http::SetCookie& cookie);
    /// The cookie as the libcurl of this version number (as in LIBCURL_VERSION_NUM) has to be given it: 8.1.0 up to
    /// 8.3.x keep a session cookie only with a "max-age" of its own.
    static http::SetCookie keptByLibcurl(http::SetCookie cookie, unsigned version);
    /// The longest bodies taken into a Memory, and into an IWriter (at first any; 0 stands for any). A longer one
    /// ends its transfer with failure, and the log says so. They count from the next request on.
    void setBodyLimit(std::uint64_t bytes) noexcept { m_bodyLimit = bytes; }
    void setWriterLimit(std::uint64_t bytes) noexcept { m_writerLimit = bytes; }

    /// GET, or POST of the bytes when they are not empty; the body is appended to `out`. True when a whole answer
    /// arrived, whatever its HTTP status; else the failure is logged, and `out` may hold a part of the body. `info` is
    /// filled in either case. Nothing is sent for a URL without a host, nor for one that is too long: about 1 MB, or
    /// 7678 bytes together with all cookies and the user agent. An exception of the IWriter ends the transfer with
    /// failure and is logged, not raised.
    bool request(const String& url, Memory& out);
    bool request(const String& url, IWriter& out);
    bool request(const String& url, Memory& out, const String& post);
    bool request(const String& url, IWriter& out, const String& post);
    bool request(const String& url, Memory& out, IRequestInfo& info);
    bool request(const String& url, IWriter& out, IRequestInfo& info);
    bool request(const String& url, IWriter& out, IRequestInfo& info, ITransferListener& listener);
    bool request(const String& url, Memory& out, const String& post, IRequestInfo& info);

    /// Ends the transfer that runs, within about a second, and fails those that wait or come, until resume(). For
    /// shutting down while a server is silent.
    void cancel() noexcept { m_cancelled = true; }
    void resume() noexcept { m_cancelled = false; }

    /// The text with every byte escaped that is not unreserved in a URL, by libcurl.
    static String urlEncodeString(const String& text);

protected:
    /// Becomes true with cancel(): for what is asked of a derived class and takes its time.
    [[nodiscard]] const std::atomic<bool>& cancelled() const noexcept { return m_cancelled; }

private:
    /// Destroys the share handle after all handles attached to it.
    class Share {
    public:
        explicit Share(CurlSession& session);
        Share(const Share&) = delete;
        Share& operator=(const Share&) = delete;
        ~Share();
        [[nodiscard]] void* handle() const noexcept { return m_handle; }

    private:
        void* m_handle;
    };

    struct Request;
    void prepare(CurlEasyWrapper& handle, const Request& request);
    bool ask(const Request& request, const ProxyRoute* route, bool last, IRequestInfo* info, bool& onTheWay);
    bool intoMemory(const String& url, Memory& out, const String& post, IRequestInfo* info);
    bool _request(const String& url, IWriter& out, std::uint64_t limit, const String& post, IRequestInfo* info,
                  ITransferListener* listener = nullptr);

    // What libcurl's share locks take, whatever the kind of data. Recursive because setCookie() holds it while
    // libcurl locks the cookies, and because libcurl does not promise that its locks never nest.
    std::recursive_mutex m_mutex;
    Share m_share;
    // Only holds the cookies that are set here.
    CurlEasyWrapper m_cookieHandle;
    String m_userAgent;  // guarded by m_mutex
    // Held for the length of a request; taken before m_mutex.
    Mutex m_transfer;
    std::atomic<std::uint64_t> m_bodyLimit{kBodyLimit};
    std::atomic<std::uint64_t> m_writerLimit{0};
    std::atomic<bool> m_cancelled{false};
    // Guarded by m_transfer.
    bool m_wholeBundle = false;       // a chain needed it
    bool m_askedForIdentity = false;  // a server wanted the client's certificate
};

}  // namespace tessel
