// SPDX-License-Identifier: Apache-2.0
#include <curl/curl.h>

#include <system_error>

#include "libs/base/log.h"
#include "libs/base/numbers.h"
#include "libs/curl/curlbody.h"
#include "libs/curl/curlurl.h"
#include "libs/http/authority.h"

// How a transfer ended: what libcurl says of it, and what it lets pass.

namespace tessel {

int CurlEasyWrapper::proxyStatus() const noexcept {
    long status = 0;
    curl_easy_getinfo(m_handle, CURLINFO_HTTP_CONNECTCODE, &status);
    return static_cast<int>(status);
}

/// Whether nothing but the connection's end says where the body ends (RFC 9112, 6.3).
bool CurlEasyWrapper::bodyEndsWithConnection() const {
    constexpr int kNoContent = 204;
    constexpr int kNotModified = 304;
    const int status = m_responseHeader.getResponseCode();
    const bool chunked = m_responseHeader.get("Transfer-Encoding").findNoCase2("chunked", 7) != String::npos;
    return status != kNoContent && status != kNotModified && !chunked && !m_responseHeader.has("Content-Length");
}

void CurlEasyWrapper::judge(const String& url) {
    if (m_lastErrorCode == CURLE_OK && !m_headEnded) {
        fail(CURLE_PARTIAL_FILE, "The connection ended within the answer's head");
    } else if (m_lastErrorCode == CURLE_OK && isHttps(url) && bodyEndsWithConnection() && !m_tlsMessages.closed()) {
        fail(CURLE_PARTIAL_FILE, "The connection ended without TLS being closed, the body may be cut");
    } else if (m_lastErrorCode == CURLE_COULDNT_CONNECT && m_socketError != 0) {
        fail(m_lastErrorCode, "No socket: " + String::copy(std::generic_category().message(m_socketError).c_str()));
    } else {
        // libcurl quotes a proxy that it does not understand, with its password; the "@" may be what did not fit.
        const String said(m_errorBuffer.data());
        const bool cut = said.length() + 1 == m_errorBuffer.size();
        fail(m_lastErrorCode, http::withoutUserInformation(cut ? String(said + "@") : said));
    }
}

bool CurlEasyWrapper::failedOnTheWay() const noexcept {
    // Which another proxy does not help. tinyproxy refuses a login that it was given as a server does.
    constexpr int kLoginRequired = 407;
    constexpr int kLoginRefused = 401;
    switch (m_failure) {
        case TransferFailure::Proxy:
            return proxyStatus() != kLoginRequired && proxyStatus() != kLoginRefused;
        case TransferFailure::Name:
        case TransferFailure::NoRoute:
        case TransferFailure::Refused:
        case TransferFailure::Silent:
            return true;
        default:
            return false;
    }
}

/// libcurl has the same codes for the host and for the proxy. What it could not connect to stands in its words.
bool CurlEasyWrapper::failedAtProxy(const String& url) const {
    constexpr int kLeastRefusal = 300;
    const String said(m_errorBuffer.data());
    switch (m_lastErrorCode) {
        case CURLE_RECV_ERROR:
            return proxyStatus() >= kLeastRefusal;
        case CURLE_COULDNT_CONNECT:
        case CURLE_OPERATION_TIMEDOUT: {
            const CurlTarget target = targetOf(url);
            return said.starts("Unsupported proxy") ||
                   (said.starts("Failed to connect to ") &&
                    !said.starts(String("Failed to connect to " + target.host + " port " + target.port + " ")));
        }
        case CURLE_PEER_FAILED_VERIFICATION: {
            long proxyVerified = 0;
            curl_easy_getinfo(m_handle, CURLINFO_PROXY_SSL_VERIFYRESULT, &proxyVerified);
            return proxyVerified != 0;
        }
        default:
            return false;
    }
}

TransferEnd CurlEasyWrapper::endOf(const String& url, const Body& body) const {
    TransferEnd end;
    end.curlCode = m_lastErrorCode;
    long systemError = 0;
    curl_easy_getinfo(m_handle, CURLINFO_OS_ERRNO, &systemError);
    end.systemError = m_socketError != 0 ? m_socketError : static_cast<int>(systemError);
    end.text = m_errorBuffer.data();
    long sent = 0;
    curl_easy_getinfo(m_handle, CURLINFO_REQUEST_SIZE, &sent);
    end.asked = sent > 0;
    end.atProxy = failedAtProxy(url);
    end.bodyTooLong = body.tooLong;
    end.requestTooLong = body.requestTooLong;
    return end;
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

}  // namespace tessel
