// SPDX-License-Identifier: Apache-2.0
#include "libs/curl/curlwrapper.h"

#include <curl/curl.h>

#include <algorithm>

#include "libs/base/log.h"
#include "libs/curl/curlurl.h"
#include "libs/curl/sites.h"

namespace tessel {
namespace {

/// Behind a way that does not answer there is another one.
constexpr unsigned kSecondsBeforeNextWay = 10;
/// libcurl 8.1.0 up to 8.3.x drops session cookies that come in a Netscape line.
constexpr unsigned kFirstDropping = 0x080100;
constexpr unsigned kFirstKeeping = 0x080400;

/// A body into a Memory. Room is made in doubling steps, so that a long body is copied a few times only.
class MemoryWriter final : public IWriter {
public:
    using IWriter::write;
    explicit MemoryWriter(Memory& target) noexcept : m_target(target), m_room(target.length()) {}

    void write(const char* data, unsigned length) override {
        const std::uint64_t needed = std::uint64_t{m_target.length()} + length;
        if (needed > m_room) {
            const unsigned extra = std::max(length, std::min(m_target.length(), kLargestStep));
            m_target.reserve(extra);
            m_room = std::uint64_t{m_target.length()} + extra;
        }
        m_target.append(reinterpret_cast<const unsigned char*>(data), length);
    }

private:
    static constexpr unsigned kLargestStep = 64 * 1024 * 1024;

    Memory& m_target;
    std::uint64_t m_room;
};

using ShareMutex = std::recursive_mutex;

void lockShare(CURL* /*handle*/, curl_lock_data /*data*/, curl_lock_access /*access*/, void* mutex) noexcept {
    static_cast<ShareMutex*>(mutex)->lock();
}

void unlockShare(CURL* /*handle*/, curl_lock_data /*data*/, void* mutex) noexcept {
    static_cast<ShareMutex*>(mutex)->unlock();
}

CURLSH* newShare() {
    CurlInitializer::initialize();
    return curl_share_init();
}

}  // namespace

void CurlInitializer::initialize() {
    static const CURLcode once = curl_global_init(CURL_GLOBAL_ALL);
    static_cast<void>(once);
}

String CurlInitializer::getCurlFullVersion() {
    initialize();
    const curl_version_info_data& info = *curl_version_info(CURLVERSION_NOW);
    String text = "libcurl/" + String::copy(info.version);
    const auto add = [&text](const char* name, const char* version) {
        if (version != nullptr && *version != '\0') {
            text.append(" ", name, version);
        }
    };
    // In curl_version()'s order; those without a name here bring their own.
    add("", info.ssl_version);
    add("zlib/", info.libz_version);
    add("brotli/", info.brotli_version);
    add("zstd/", info.zstd_version);
    add("c-ares/", info.ares);
    add("libidn2/", info.libidn);
    add("", info.libssh_version);
    add("nghttp2/", info.nghttp2_version);
    add("", info.quic_version);
    add("libgsasl/", info.gsasl_version);
    return text;
}

CurlSession::Share::Share(CurlSession& session) : m_handle(newShare()) {
    if (m_handle == nullptr) {
        log(LogCategory::Error, "CurlSession", "CurlSession", "Cannot init CURL SHARE context");
        raise<ECurl>("ECurl", curlsites::kShareInit);
    }
    curl_share_setopt(m_handle, CURLSHOPT_LOCKFUNC, &lockShare);
    curl_share_setopt(m_handle, CURLSHOPT_UNLOCKFUNC, &unlockShare);
    curl_share_setopt(m_handle, CURLSHOPT_USERDATA, &session.m_mutex);
    for (const curl_lock_data kind : {CURL_LOCK_DATA_COOKIE, CURL_LOCK_DATA_DNS, CURL_LOCK_DATA_SSL_SESSION}) {
        curl_share_setopt(m_handle, CURLSHOPT_SHARE, kind);
    }
}

CurlSession::Share::~Share() { curl_share_cleanup(m_handle); }

CurlSession::CurlSession() : m_share(*this) { m_cookieHandle.attachShare(m_share.handle()); }

CurlSession::~CurlSession() = default;

bool CurlSession::verifySSL(const String& /*url*/) { return true; }

Proxy CurlSession::getProxy(const String& /*url*/) { return {}; }

bool CurlSession::carriesCookies(const String& /*url*/) { return true; }

ServerCheck CurlSession::serverCheck(const String& url) { return {.certificate = verifySSL(url)}; }

std::shared_ptr<const tls::PeerCertificate> CurlSession::describeCertificate(const String& /*url*/,
                                                                             const Memory& /*der*/,
                                                                             long /*verifyError*/) {
    return nullptr;
}

std::shared_ptr<const TlsCredentials> CurlSession::credentials(const String& /*url*/) { return nullptr; }

std::vector<ProxyRoute> CurlSession::routes(const String& /*url*/) { return {}; }

void CurlSession::took(const String& /*url*/, const ProxyRoute& /*route*/) {}

bool CurlSession::retries(const String& /*url*/, const tls::PeerCertificate* /*refused*/) { return false; }

void CurlSession::setUserAgent(const String& userAgent) {
    const std::lock_guard lock(m_mutex);
    m_userAgent = userAgent;
}

http::SetCookie CurlSession::keptByLibcurl(http::SetCookie cookie, unsigned version) {
    const bool session = cookie.getMaxAge().empty() && (cookie.getExpires().empty() || cookie.getExpires() == "0");
    if (session && version >= kFirstDropping && version < kFirstKeeping) {
        cookie.setMaxAge("9999999999");
    }
    return cookie;
}

void CurlSession::setCookie(const http::SetCookie& cookie) {
    const std::lock_guard lock(m_mutex);
    const unsigned version = curl_version_info(CURLVERSION_NOW)->version_num;
    http::SetCookie kept = keptByLibcurl(cookie, version);
    static_cast<void>(kept.toNetscapeFormat());  // raises for what is written below in another form
    // libcurl runs empty fields together and would take the next one for the domain.
    if (!cookie.getDomain().empty()) {
        kept.setDomain(cookieDomain(cookie.getDomain()));
        m_cookieHandle.addCookieLine(kept.toNetscapeFormat());
    }
}

/// One request on whichever way it takes.
struct CurlSession::Request {
    const String& url;
    IWriter& out;
    std::uint64_t limit;
    const String& post;
    ITransferListener* listener;
};

void CurlSession::prepare(CurlEasyWrapper& handle, const Request& request) {
    if (carriesCookies(request.url)) {
        handle.attachShare(m_share.handle());
        handle.enableCookies();
    }
    handle.setCancelFlag(&m_cancelled);
    handle.setListener(request.listener);
    {
        const std::lock_guard lock(m_mutex);
        handle.setUserAgent(m_userAgent);
    }
    const ServerCheck check = serverCheck(request.url);
    handle.setVerifySsl(check.certificate);
    handle.setPinnedKey(check.key);
    handle.setWholeBundle(m_wholeBundle);
    // In a resumed session it would not ask once more.
    handle.setResumes(!m_askedForIdentity);
    handle.setTlsCredentials(credentials(request.url));
    handle.setProxy(getProxy(request.url));
}

/// `route` is null where libcurl chooses; `onTheWay` says that it is of no use, which only the last one tells `info`.
bool CurlSession::ask(const Request& request, const ProxyRoute* route, bool last, IRequestInfo* info, bool& onTheWay) {
    for (bool first = true;; first = false) {
        CurlEasyWrapper handle;
        prepare(handle, request);
        if (route != nullptr) {
            handle.setRoute(*route);
            handle.setPatience(last ? 0 : kSecondsBeforeNextWay);
        }
        const bool arrived = handle.request(request.url, request.out, request.limit, request.post);
        m_wholeBundle = handle.wholeBundle();
        m_askedForIdentity = m_askedForIdentity || handle.tlsMessages().asked();
        if (handle.failure() == TransferFailure::Certificate) {
            const long error = handle.sslVerifyResult();
            handle.setPeerCertificate(describeCertificate(request.url, handle.tlsMessages().certificate(),
                                                          error == CurlEasyWrapper::kCertificateNotAsked ? 0 : error));
            if (first && retries(request.url, handle.peerCertificate().get())) {
                continue;
            }
        }
        onTheWay = handle.failedOnTheWay();
        if (info != nullptr && (last || !onTheWay)) {
            info->readFromCurl(handle);
        }
        return arrived;
    }
}

bool CurlSession::_request(const String& url, IWriter& out, std::uint64_t limit, const String& post, IRequestInfo* info,
                           ITransferListener* listener) {
    const Lock turn(m_transfer);
    const Request request{url, out, limit, post, listener};
    const std::vector<ProxyRoute> ways = routes(url);
    bool onTheWay = false;
    if (ways.empty()) {
        return ask(request, nullptr, true, info, onTheWay);
    }
    for (const ProxyRoute& way : ways) {
        const bool arrived = ask(request, &way, &way == &ways.back(), info, onTheWay);
        if (!onTheWay) {
            took(url, way);
            return arrived;
        }
    }
    return false;
}

bool CurlSession::intoMemory(const String& url, Memory& out, const String& post, IRequestInfo* info) {
    MemoryWriter writer(out);
    return _request(url, writer, m_bodyLimit, post, info);
}

bool CurlSession::request(const String& url, Memory& out) { return intoMemory(url, out, String(), nullptr); }

bool CurlSession::request(const String& url, Memory& out, const String& post) {
    return intoMemory(url, out, post, nullptr);
}

bool CurlSession::request(const String& url, Memory& out, IRequestInfo& info) {
    return intoMemory(url, out, String(), &info);
}

bool CurlSession::request(const String& url, Memory& out, const String& post, IRequestInfo& info) {
    return intoMemory(url, out, post, &info);
}

bool CurlSession::request(const String& url, IWriter& out) {
    return _request(url, out, m_writerLimit, String(), nullptr);
}

bool CurlSession::request(const String& url, IWriter& out, const String& post) {
    return _request(url, out, m_writerLimit, post, nullptr);
}

bool CurlSession::request(const String& url, IWriter& out, IRequestInfo& info) {
    return _request(url, out, m_writerLimit, String(), &info);
}

bool CurlSession::request(const String& url, IWriter& out, IRequestInfo& info, ITransferListener& listener) {
    return _request(url, out, m_writerLimit, String(), &info, &listener);
}

String CurlSession::urlEncodeString(const String& text) {
    CurlInitializer::initialize();
    if (text.empty()) {
        // libcurl would take the length 0 for "up to the NUL".
        return {};
    }
    char* escaped = curl_easy_escape(nullptr, text.array(), static_cast<int>(text.length()));
    String result = escaped != nullptr ? String::copy(escaped) : String();
    curl_free(escaped);
    return result;
}

}  // namespace tessel
