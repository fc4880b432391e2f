// SPDX-License-Identifier: Apache-2.0
#include "libs/curl/requestinfo.h"

#include <curl/curl.h>

#include "libs/base/numbers.h"
#include "libs/curl/curleasy.h"

namespace tessel {

void RequestInfo::readFromCurl(const CurlEasyWrapper& handle) {
    m_code = handle.lastErrorCode();
    m_errorString = String::copy(curl_easy_strerror(static_cast<CURLcode>(m_code)));
    m_errorBuffer = String::copy(handle.errorBuffer());
    m_responseHeader = handle.responseHeader();
    m_failure = handle.failure();
    m_proxyStatus = m_failure == TransferFailure::Proxy ? handle.proxyStatus() : 0;
    m_askedForIdentity = handle.tlsMessages().asked();
    m_hadIdentity = handle.hasIdentity();
    m_certificate = handle.peerCertificate();
}

String RequestInfo::format() const {
    String text = "Code: " + toString(m_code);
    if (!m_errorString.empty()) {
        text += "(" + m_errorString + ")";
    }
    if (!m_errorBuffer.empty()) {
        text += "\n" + m_errorBuffer;
    }
    return text;
}

}  // namespace tessel
