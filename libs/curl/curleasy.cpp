// SPDX-License-Identifier: Apache-2.0
#include "libs/curl/curleasy.h"

#include <curl/curl.h>

#include <algorithm>
#include <cstring>
#include <optional>

#include "libs/base/base64.h"
#include "libs/base/exception.h"
#include "libs/base/log.h"
#include "libs/base/numbers.h"
#include "libs/curl/curlbody.h"
#include "libs/curl/curlurl.h"
#include "libs/curl/errors.h"
#include "libs/curl/sites.h"

namespace tessel {
namespace {

/// What libcurl reads from the network at a time, at most.
constexpr long kReceiveBuffer = 256 * 1024;

/// libcurl 7.88 sends cookies only as long as they end within the first 8190 bytes of the request; where not even the
/// first one does, it sends a head without an end, and waits for ever. URL, user agent and cookies together may have
/// what is left of that for the lines around them.
constexpr unsigned kLongestWithCookies = 8190 - 512;
/// libcurl takes no head of more than 1 MiB.
constexpr unsigned kLongestHead = 1024 * 1024 - 8190;
constexpr int kFieldsBeforeName = 5;  // of a Netscape cookie line

}  // namespace

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
    // A URL's path is the gateway's, dots and all.
    curl_easy_setopt(m_handle, CURLOPT_PATH_AS_IS, 1L);
    curl_easy_setopt(m_handle, CURLOPT_OPENSOCKETFUNCTION, &openSocket);
    curl_easy_setopt(m_handle, CURLOPT_CERTINFO, 1L);
    curl_easy_setopt(m_handle, CURLOPT_SSL_OPTIONS, long{CURLSSLOPT_NO_REVOKE});
    curl_easy_setopt(m_handle, CURLOPT_WRITEFUNCTION, &onBody);
    curl_easy_setopt(m_handle, CURLOPT_HEADERFUNCTION, &onHeader);
    curl_easy_setopt(m_handle, CURLOPT_XFERINFOFUNCTION, &onProgress);
    for (const CURLoption data :
         {CURLOPT_HEADERDATA, CURLOPT_OPENSOCKETDATA, CURLOPT_XFERINFODATA, CURLOPT_DEBUGDATA}) {
        curl_easy_setopt(m_handle, data, this);
    }
    // Shows the callback what passes; nothing is printed then.
    curl_easy_setopt(m_handle, CURLOPT_DEBUGFUNCTION, &onDebug);
    curl_easy_setopt(m_handle, CURLOPT_VERBOSE, 1L);
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

void CurlEasyWrapper::setRoute(const ProxyRoute& route) {
    setProxy(route.proxy);
    if (route.proxy.getType() == Proxy::Type::None) {
        curl_easy_setopt(m_handle, CURLOPT_PROXY, "");
    }
    // Else the environment's exceptions would still count.
    curl_easy_setopt(m_handle, CURLOPT_NOPROXY, "");
}

/// A CURLcode. libcurl takes any key where it could not take this one, so whoever calls must not go on then.
int CurlEasyWrapper::applyPin() {
    const String pin = m_pinnedKey ? String("sha256//" + Base64::encode(*m_pinnedKey)) : String();
    // In a resumed session no certificate is shown, and a refusal could not say whose it was.
    curl_easy_setopt(m_handle, CURLOPT_SSL_SESSIONID_CACHE, m_pinnedKey || !m_resumes ? 0L : 1L);
    return curl_easy_setopt(m_handle, CURLOPT_PINNEDPUBLICKEY, m_pinnedKey ? pin.str() : nullptr);
}

void CurlEasyWrapper::apply(const String& url, Body& body, const String& post) {
    curl_easy_setopt(m_handle, CURLOPT_URL, url.str());
    curl_easy_setopt(m_handle, CURLOPT_WRITEDATA, &body);
    if (!m_userAgent.empty()) {
        curl_easy_setopt(m_handle, CURLOPT_USERAGENT, m_userAgent.str());
    }
    curl_easy_setopt(m_handle, CURLOPT_SSL_VERIFYHOST, m_verifySsl ? 2L : 0L);
    curl_easy_setopt(m_handle, CURLOPT_SSL_VERIFYPEER, m_verifySsl ? 1L : 0L);
    curl_easy_setopt(m_handle, CURLOPT_CONNECTTIMEOUT, long{m_patience});
    curl_easy_setopt(m_handle, CURLOPT_NOPROGRESS, m_cancelled != nullptr || m_listener != nullptr ? 0L : 1L);
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
    m_headEnded = false;
    m_socketError = 0;
    m_tlsMessages = TlsMessages();
    m_peerCertificate = nullptr;
    fail(CURLE_OK, String());
    Body body{out, limit};
    const std::optional<String> wire = wireUrl(url);
    if (url.find('\0') != String::npos) {
        // A C string would end there and name another resource.
        fail(CURLE_URL_MALFORMAT, String());
    } else if (m_cancelled != nullptr && *m_cancelled) {
        fail(CURLE_ABORTED_BY_CALLBACK, String());
    } else if (!wire) {
        fail(CURLE_URL_MALFORMAT, "The URL names no host, or a port that is none");
    } else {
        perform(*wire, body, post);
    }
    m_failure = failureOf(endOf(wire.value_or(String()), body));
    if (m_lastErrorCode != CURLE_OK) {
        logFailure(body);
    }
    return m_lastErrorCode == CURLE_OK;
}

/// A machine's bundle takes 20 ms and more to read; of its directory OpenSSL reads what a chain needs.
void CurlEasyWrapper::applyAuthorities() {
    const curl_version_info_data& libcurl = *curl_version_info(CURLVERSION_NOW);
    m_wholeBundle = m_wholeBundle || libcurl.capath == nullptr || libcurl.cainfo == nullptr;
    curl_easy_setopt(m_handle, CURLOPT_CAINFO, m_wholeBundle ? libcurl.cainfo : nullptr);
}

/// libcurl keeps no copy: the texts live as long as the handle.
void CurlEasyWrapper::applyCredentials() {
    if (m_credentials == nullptr) {
        return;
    }
    const auto give = [this](CURLoption option, const String& pem) {
        if (!pem.empty()) {
            curl_blob blob{const_cast<char*>(pem.array()), pem.length(), CURL_BLOB_NOCOPY};
            curl_easy_setopt(m_handle, option, &blob);
        }
    };
    give(CURLOPT_CAINFO_BLOB, m_credentials->authoritiesPem);
    give(CURLOPT_SSLCERT_BLOB, m_credentials->certificatePem);
    give(CURLOPT_SSLKEY_BLOB, m_credentials->keyPem);
    if (!m_credentials->authoritiesPem.empty()) {
        curl_easy_setopt(m_handle, CURLOPT_CAINFO, nullptr);
        curl_easy_setopt(m_handle, CURLOPT_CAPATH, nullptr);
        m_wholeBundle = true;  // there is no other to look into
    }
}

void CurlEasyWrapper::transfer() {
    m_lastErrorCode = curl_easy_perform(m_handle);
    curl_easy_getinfo(m_handle, CURLINFO_SSL_VERIFYRESULT, &m_verifyResult);
}

/// Whether the certificate was refused for its chain rather than for its names.
bool CurlEasyWrapper::bundleMayKnow() const noexcept {
    return !m_wholeBundle && m_lastErrorCode == CURLE_PEER_FAILED_VERIFICATION && m_verifyResult > kCertificateNotAsked;
}

void CurlEasyWrapper::perform(const String& url, Body& body, const String& post) {
    apply(url, body, post);
    const unsigned bytes = headBytes(url);
    const unsigned most = cookieBytes() != 0 ? kLongestWithCookies : kLongestHead;
    body.requestTooLong = bytes > most;
    if (const int refused = applyPin(); refused != CURLE_OK) {
        fail(refused, "No key can be asked for");
    } else if (body.requestTooLong) {
        fail(CURLE_SEND_ERROR,
             "URL and cookies have " + toString(bytes) + " bytes, at most " + toString(most) + " can be sent");
    } else {
        applyAuthorities();
        applyCredentials();
        transfer();
        if (bundleMayKnow()) {
            m_wholeBundle = true;
            m_tlsMessages = TlsMessages();
            applyAuthorities();
            transfer();
        }
        judge(url);
    }
    // Nothing that ends with this call stays known to libcurl.
    curl_easy_setopt(m_handle, CURLOPT_WRITEDATA, nullptr);
    curl_easy_setopt(m_handle, CURLOPT_POSTFIELDS, nullptr);
}

/// The outcome, in words for the error buffer.
void CurlEasyWrapper::fail(int code, const String& words) {
    m_lastErrorCode = code;
    // The words may be the buffer's own.
    const std::size_t length = std::min<std::size_t>(words.length(), m_errorBuffer.size() - 1);
    std::memmove(m_errorBuffer.data(), words.array(), length);
    m_errorBuffer[length] = '\0';
}

/// Name and value of every cookie that the session holds, also of those for other hosts.
unsigned CurlEasyWrapper::cookieBytes() const {
    curl_slist* lines = nullptr;
    curl_easy_getinfo(m_handle, CURLINFO_COOKIELIST, &lines);
    unsigned bytes = 0;
    for (const curl_slist* line = lines; line != nullptr; line = line->next) {
        const std::string_view text(line->data);
        // The sixth field and the seventh are the name and the value.
        std::size_t name = 0;
        for (int field = 0; field < kFieldsBeforeName; ++field) {
            name = text.find('\t', name) + 1;
        }
        bytes += static_cast<unsigned>(text.size() - name + std::strlen("; "));
    }
    curl_slist_free_all(lines);
    return bytes;
}

/// About what the request's head takes up to the end of its cookies.
unsigned CurlEasyWrapper::headBytes(const String& url) const {
    // User information goes in Base64.
    return url.length() + authorityOf(url).getUserInformation().length() + m_userAgent.length() + cookieBytes();
}

}  // namespace tessel
