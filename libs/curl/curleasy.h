// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>

#include "libs/base/memory.h"
#include "libs/base/serialize.h"
#include "libs/base/string.h"
#include "libs/curl/tlsmessages.h"
#include "libs/curl/transferfailure.h"
#include "libs/http/header.h"
#include "libs/http/proxyroute.h"

struct curl_sockaddr;

namespace tessel {

namespace tls {
struct PeerCertificate;
}

/// What a request's TLS connection has of its own. Texts in PEM (RFC 7468), empty for none.
struct TlsCredentials {
    String authoritiesPem{};  ///< whose certificates count, instead of those whom the machine trusts
    String certificatePem{};  ///< the client's own, and behind it those that lead to its issuer
    String keyPem{};          ///< its key, not encrypted: a secret
};

/// Hears how far a transfer is.
class ITransferListener {
public:
    /// Called on the request's thread, often: must return at once. `expected` is 0 while nobody knows.
    virtual void onTransfer(std::uint64_t received, std::uint64_t expected) noexcept = 0;
    virtual ~ITransferListener() = default;
};

/// One libcurl easy handle and the outcome of its last request. Used by one thread at a time; the handle must not
/// outlive the share handle that it is attached to.
class CurlEasyWrapper {
public:
    /// Raises ECurl when libcurl gives no handle.
    CurlEasyWrapper();
    CurlEasyWrapper(const CurlEasyWrapper&) = delete;
    CurlEasyWrapper& operator=(const CurlEasyWrapper&) = delete;
    ~CurlEasyWrapper();

    void attachShare(void* share);
    /// Lets the handle read and keep cookies.
    void enableCookies();
    /// Hands a line of a Netscape cookie file to the cookie engine.
    void addCookieLine(const String& line);
    void setVerifySsl(bool verify) noexcept { m_verifySsl = verify; }
    /// Which of the machine's authorities a request trusts from the start: those of its directory by hash alone, or of
    /// its whole bundle as well, which libcurl then reads for each connection. A certificate that the directory does
    /// not vouch for is judged once more, in a second connection, with the bundle.
    void setWholeBundle(bool whole) noexcept { m_wholeBundle = whole; }
    /// Whether the last request needed the bundle.
    [[nodiscard]] bool wholeBundle() const noexcept { return m_wholeBundle; }
    /// See ServerCheck::key.
    void setPinnedKey(const std::optional<Memory>& digest) { m_pinnedKey = digest; }
    /// Whether a TLS session from before may be gone on with.
    void setResumes(bool resumes) noexcept { m_resumes = resumes; }
    /// See CurlSession::credentials().
    void setTlsCredentials(std::shared_ptr<const TlsCredentials> credentials) noexcept {
        m_credentials = std::move(credentials);
    }
    void setUserAgent(const String& userAgent) { m_userAgent = userAgent; }
    /// Type none: libcurl's own choice, from the environment. Raises Exception for a value that is no type.
    void setProxy(const Proxy& proxy);
    /// This way and no other, whatever the environment says of proxies and of hosts without one.
    void setRoute(const ProxyRoute& route);
    /// How long the way may take until TLS is agreed on; 0 for libcurl's default.
    void setPatience(unsigned seconds) noexcept { m_patience = seconds; }
    /// Whether the last request failed on its way, before anything of it was sent: another way may lead there.
    [[nodiscard]] bool failedOnTheWay() const noexcept;
    /// While *cancelled is true, a transfer is ended; the flag must outlive the requests.
    void setCancelFlag(const std::atomic<bool>* cancelled) noexcept { m_cancelled = cancelled; }
    /// Told how far each transfer is; null for nobody. Must outlive the requests.
    void setListener(ITransferListener* listener) noexcept { m_listener = listener; }

    /// Performs one request; the body goes to `out`, at most `limit` bytes of it (0: any number). See
    /// CurlSession::request() for the rest. Raises nothing that `out` raises.
    /// What libcurl lets pass is a failure here: an answer whose head is cut, or whose body ends with nothing but a TLS
    /// connection that was not closed.
    bool request(const String& url, IWriter& out, std::uint64_t limit, const String& post);

    /// The CURLcode of the last request, 0 before the first.
    [[nodiscard]] int lastErrorCode() const noexcept { return m_lastErrorCode; }
    /// Why the last request failed; None exactly when the code is 0.
    [[nodiscard]] TransferFailure failure() const noexcept { return m_failure; }
    /// The HTTP status of the proxy's last answer to CONNECT, 0 without one.
    [[nodiscard]] int proxyStatus() const noexcept;
    /// What was received of TLS during the last request.
    [[nodiscard]] const TlsMessages& tlsMessages() const noexcept { return m_tlsMessages; }
    /// Whether it had a certificate for a server that asks for one.
    [[nodiscard]] bool hasIdentity() const noexcept {
        return m_credentials != nullptr && !m_credentials->certificatePem.empty();
    }
    /// See RequestInfo::getPeerCertificate().
    void setPeerCertificate(std::shared_ptr<const tls::PeerCertificate> certificate) noexcept {
        m_peerCertificate = std::move(certificate);
    }
    [[nodiscard]] const std::shared_ptr<const tls::PeerCertificate>& peerCertificate() const noexcept {
        return m_peerCertificate;
    }
    /// libcurl compares the names before it asks what OpenSSL said, and until then says this.
    static constexpr long kCertificateNotAsked = 1;
    /// What OpenSSL said of the server's certificate (an X509_V_ code), whether it was to be checked or not.
    [[nodiscard]] long sslVerifyResult() const noexcept { return m_verifyResult; }
    /// libcurl's own words about it, without user information; empty when it has none. Valid until the next request.
    [[nodiscard]] const char* errorBuffer() const noexcept { return m_errorBuffer.data(); }
    /// Of the last answer, without those of interim answers (RFC 9110, 15.2).
    [[nodiscard]] const http::ResponseHeader& responseHeader() const noexcept { return m_responseHeader; }

private:
    struct Body;

    void applyOnce();
    int applyPin();
    void apply(const String& url, Body& body, const String& post);
    void applyAuthorities();
    void applyCredentials();
    void transfer();
    [[nodiscard]] bool bundleMayKnow() const noexcept;
    void perform(const String& url, Body& body, const String& post);
    void fail(int code, const String& words);
    [[nodiscard]] unsigned cookieBytes() const;
    [[nodiscard]] unsigned headBytes(const String& url) const;

    // How it ended: curloutcome.cpp.
    void judge(const String& url);
    [[nodiscard]] bool bodyEndsWithConnection() const;
    [[nodiscard]] bool failedAtProxy(const String& url) const;
    [[nodiscard]] TransferEnd endOf(const String& url, const Body& body) const;
    void logFailure(const Body& body) const;

    // What libcurl calls: curlcallbacks.cpp.
    static std::size_t onBody(char* bytes, std::size_t size, std::size_t count, void* data) noexcept;
    static std::size_t onHeader(char* bytes, std::size_t size, std::size_t count, void* self) noexcept;
    static int onProgress(void* self, std::int64_t expected, std::int64_t received, std::int64_t,
                          std::int64_t) noexcept;
    static int onDebug(void* curl, int what, char* bytes, std::size_t length, void* self) noexcept;
    static int openSocket(void* self, int purpose, curl_sockaddr* address) noexcept;

    void* m_handle;  // CURL*; created by the constructor
    bool m_verifySsl = true;
    bool m_wholeBundle = false;
    bool m_resumes = true;
    unsigned m_patience = 0;  // seconds
    std::optional<Memory> m_pinnedKey;
    std::shared_ptr<const TlsCredentials> m_credentials;
    std::array<char, 256> m_errorBuffer{};  // libcurl's error-buffer size
    int m_lastErrorCode = 0;
    TransferFailure m_failure = TransferFailure::None;
    bool m_headEnded = false;  // the last answer's, by an empty line
    int m_socketError = 0;     // errno of a socket that could not be had
    long m_verifyResult = 0;
    String m_userAgent;
    http::ResponseHeader m_responseHeader;
    const std::atomic<bool>* m_cancelled = nullptr;
    ITransferListener* m_listener = nullptr;
    TlsMessages m_tlsMessages;
    std::shared_ptr<const tls::PeerCertificate> m_peerCertificate;
};

}  // namespace tessel
