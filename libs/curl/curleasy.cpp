#include "libs/curl/curleasy.h"

#include <curl/curl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>

#include "libs/base/exception.h"
#include "libs/base/log.h"
#include "libs/base/numbers.h"
#include "libs/curl/errors.h"
#include "libs/curl/sites.h"

namespace tessel {
namespace {

/// What libcurl reads from the network at a time, at most.
constexpr long kReceiveBuffer = 256 * 1024;

/// Close-on-exec from the start, so that no program that another thread starts meanwhile inherits the connection.
curl_socket_t openSocket(void* /*data*/, curlsocktype /*purpose*/, curl_sockaddr* address) noexcept {
    return ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

}  // namespace

/// Where the body of one request goes.
struct CurlEasyWrapper::Body {
    IWriter& out;
    std::uint64_t limit;
    std::uint64_t received = 0;
    bool tooLong = false;
};

CurlEasyWrapper::CurlEasyWrapper() : m_handle(curl_easy_init()) {
    static_assert(CURL_ERROR_SIZE == std::tuple_size_v<decltype(m_errorBuffer)>);
    if (m_handle == nullptr) {
        log(LogCategory::Error, "DownloadManager", "downloadFileTo", "Cannot init CURL context");
        raise<ECurl>("ECurl", curlsites::kEasyInit);
    }
    curl_easy_setopt(m_handle, CURLOPT_ERRORBUFFER, m_errorBuffer.data());
    applyOnce();
}

CurlEasyWrapper::~CurlEasyWrapper() { curl_easy_cleanup(m_handle); }

void CurlEasyWrapper::applyOnce() {
    // Header lines are understood in their HTTP/1.1 form only.
    curl_easy_setopt(m_handle, CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1});
    curl_easy_setopt(m_handle, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(m_handle, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(m_handle, CURLOPT_BUFFERSIZE, kReceiveBuffer);
    curl_easy_setopt(m_handle, CURLOPT_OPENSOCKETFUNCTION, &openSocket);
    curl_easy_setopt(m_handle, CURLOPT_CERTINFO, 1L);
    curl_easy_setopt(m_handle, CURLOPT_SSL_OPTIONS, long{CURLSSLOPT_NO_REVOKE});
    curl_easy_setopt(m_handle, CURLOPT_WRITEFUNCTION, &onBody);
    curl_easy_setopt(m_handle, CURLOPT_HEADERFUNCTION, &onHeader);
    curl_easy_setopt(m_handle, CURLOPT_XFERINFOFUNCTION, &onProgress);
}

void CurlEasyWrapper::attachShare(void* share) { curl_easy_setopt(m_handle, CURLOPT_SHARE, share); }

void CurlEasyWrapper::enableCookies() { curl_easy_setopt(m_handle, CURLOPT_COOKIEFILE, ""); }

void CurlEasyWrapper::addCookieLine(const String& line) {
    const String terminated = line;
    curl_easy_setopt(m_handle, CURLOPT_COOKIELIST, terminated.str());
}

void CurlEasyWrapper::setProxy(const Proxy& proxy) {
    long type = 0;
    switch (proxy.getType()) {
        case Proxy::Type::Socks4:
            type = CURLPROXY_SOCKS4;
            break;
        case Proxy::Type::Socks5:
            type = CURLPROXY_SOCKS5;
            break;
        case Proxy::Type::Http:
            type = CURLPROXY_HTTP;
            break;
        case Proxy::Type::None:
            // No proxy named, which leaves the choice to the environment; an empty name would forbid one.
            curl_easy_setopt(m_handle, CURLOPT_PROXY, nullptr);
            return;
        default:
            log(LogCategory::Error, "CurlEasyWrapper", "setProxy", "unknown proxy type");
            raise<Exception>("Exception", curlsites::kProxyType);
    }
    curl_easy_setopt(m_handle, CURLOPT_PROXYTYPE, type);
    curl_easy_setopt(m_handle, CURLOPT_PROXY, proxy.getHost().str());
    curl_easy_setopt(m_handle, CURLOPT_PROXYAUTH, CURLAUTH_ANY);
    curl_easy_setopt(m_handle, CURLOPT_PROXYUSERNAME, proxy.getCredentials().getLogin().str());
    curl_easy_setopt(m_handle, CURLOPT_PROXYPASSWORD, proxy.getCredentials().getPassword().str());
}

void CurlEasyWrapper::apply(const String& url, Body& body, const String& post) {
    curl_easy_setopt(m_handle, CURLOPT_URL, url.str());
    curl_easy_setopt(m_handle, CURLOPT_WRITEDATA, &body);
    curl_easy_setopt(m_handle, CURLOPT_HEADERDATA, &m_responseHeader);
    if (!m_userAgent.empty()) {
        curl_easy_setopt(m_handle, CURLOPT_USERAGENT, m_userAgent.str());
    }
    curl_easy_setopt(m_handle, CURLOPT_SSL_VERIFYHOST, m_verifySsl ? 2L : 0L);
    curl_easy_setopt(m_handle, CURLOPT_SSL_VERIFYPEER, m_verifySsl ? 1L : 0L);
    curl_easy_setopt(m_handle, CURLOPT_NOPROGRESS, m_cancelled != nullptr || m_listener != nullptr ? 0L : 1L);
    curl_easy_setopt(m_handle, CURLOPT_XFERINFODATA, this);
    curl_easy_setopt(m_handle, CURLOPT_SSL_CTX_FUNCTION, &onTls);
    curl_easy_setopt(m_handle, CURLOPT_SSL_CTX_DATA, this);
    if (post.empty()) {
        curl_easy_setopt(m_handle, CURLOPT_HTTPGET, 1L);
    } else {
        // The length first: without it libcurl would take the bytes up to the first NUL.
        curl_easy_setopt(m_handle, CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t{post.length()});
        curl_easy_setopt(m_handle, CURLOPT_POSTFIELDS, post.array());
    }
}

bool CurlEasyWrapper::request(const String& url, IWriter& out, std::uint64_t limit, const String& post) {
    m_responseHeader = http::ResponseHeader();
    m_errorBuffer[0] = '\0';
    Body body{out, limit};
    const String terminated = url;
    if (url.find('\0') != String::npos) {
        // A C string would end there and name another resource.
        m_lastErrorCode = CURLE_URL_MALFORMAT;
    } else if (m_cancelled != nullptr && *m_cancelled) {
        m_lastErrorCode = CURLE_ABORTED_BY_CALLBACK;
    } else {
        apply(terminated, body, post);
        m_lastErrorCode = curl_easy_perform(m_handle);
        // Nothing that ends with this call stays known to libcurl.
        curl_easy_setopt(m_handle, CURLOPT_WRITEDATA, nullptr);
        curl_easy_setopt(m_handle, CURLOPT_POSTFIELDS, nullptr);
        curl_easy_getinfo(m_handle, CURLINFO_SSL_VERIFYRESULT, &m_verifyResult);
    }
    m_failure = classify(body);
    if (m_lastErrorCode != CURLE_OK) {
        logFailure(body);
    }
    return m_lastErrorCode == CURLE_OK;
}

void CurlEasyWrapper::logFailure(const Body& body) const {
    if (body.tooLong) {
        log(LogCategory::Error, "CurlEasyWrapper", "request",
            String("Body is longer than the limit of " + toString(body.limit) + " bytes"));
    }
    const char* text = curl_easy_strerror(static_cast<CURLcode>(m_lastErrorCode));
    log(LogCategory::Error, "CurlEasyWrapper", "request",
        String(text + (" (#" + toString(m_lastErrorCode) + ") [" + String(m_errorBuffer.data()) + "]")));
}

int CurlEasyWrapper::proxyStatus() const noexcept {
    long status = 0;
    curl_easy_getinfo(m_handle, CURLINFO_HTTP_CONNECTCODE, &status);
    return static_cast<int>(status);
}

TransferFailure CurlEasyWrapper::classify(const Body& body) const noexcept {
    constexpr int kEstablished = 200;
    if (body.tooLong) {
        return TransferFailure::BodyTooLong;
    }
    if (m_lastErrorCode == CURLE_RECV_ERROR && proxyStatus() != 0 && proxyStatus() != kEstablished) {
        return TransferFailure::Proxy;
    }
    long systemError = 0;
    curl_easy_getinfo(m_handle, CURLINFO_OS_ERRNO, &systemError);
    return failureOf(m_lastErrorCode, static_cast<int>(systemError));
}

int CurlEasyWrapper::onTls(void* /*curl*/, void* context, void* self) noexcept {
    const CurlEasyWrapper& wrapper = *static_cast<CurlEasyWrapper*>(self);
    if (wrapper.m_tlsWitness != nullptr) {
        wrapper.m_tlsWitness->attach(context);
    }
    return CURLE_OK;
}

std::size_t CurlEasyWrapper::onBody(char* bytes, std::size_t size, std::size_t count, void* data) noexcept {
    // No exception may pass through libcurl: its handle would be unusable, and leak.
    try {
        Body& body = *static_cast<Body*>(data);
        const std::size_t length = size * count;
        if (body.limit != 0 && length > body.limit - body.received) {
            body.tooLong = true;
            return 0;
        }
        body.received += length;
        body.out.write(bytes, static_cast<unsigned>(length));
        return length;
    } catch (const Exception& caught) {
        logCaught(caught, curlsites::kBodyHandler);
    } catch (...) {
        log(LogCategory::Error, "CurlEasyWrapper", "request", "unhandled exception");
    }
    // Too few bytes taken: libcurl ends the transfer. (Never 0 for an empty piece, which libcurl does not deliver.)
    return 0;
}

std::size_t CurlEasyWrapper::onHeader(char* bytes, std::size_t size, std::size_t count, void* data) noexcept {
    try {
        auto& header = *static_cast<http::ResponseHeader*>(data);
        const String line = String::copy(bytes, static_cast<unsigned>(size * count));
        if (line.starts("HTTP/1.")) {
            header = http::ResponseHeader(line);
        } else {
            header.addLine(line);
        }
    } catch (...) {
        log(LogCategory::Error, "CurlEasyWrapper", "request", "header line lost");
    }
    return size * count;
}

int CurlEasyWrapper::onProgress(void* self, std::int64_t expected, std::int64_t received, std::int64_t,
                                std::int64_t) noexcept {
    const CurlEasyWrapper& wrapper = *static_cast<CurlEasyWrapper*>(self);
    if (wrapper.m_cancelled != nullptr && *wrapper.m_cancelled) {
        // Else libcurl would wait for a resolver that is still asking.
        curl_easy_setopt(wrapper.m_handle, CURLOPT_QUICK_EXIT, 1L);
        return 1;
    }
    if (wrapper.m_listener != nullptr) {
        wrapper.m_listener->onTransfer(static_cast<std::uint64_t>(received), static_cast<std::uint64_t>(expected));
    }
    return 0;
}

}  // namespace tessel
