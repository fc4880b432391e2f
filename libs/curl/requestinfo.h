// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "libs/base/string.h"
#include "libs/curl/transferfailure.h"
#include "libs/http/header.h"

namespace tessel {

class CurlEasyWrapper;
namespace tls {
struct PeerCertificate;
}

/// What wants to know how a request ended.
class IRequestInfo {
public:
    /// Called on the request's thread after the transfer, whatever its outcome.
    virtual void readFromCurl(const CurlEasyWrapper& handle) = 0;
    virtual ~IRequestInfo() = default;
};

/// The outcome of one request. A value that shares nothing with the session: it may be copied to another thread.
/// No text in it holds user information, such as a proxy's password.
class RequestInfo : public IRequestInfo {
public:
    void readFromCurl(const CurlEasyWrapper& handle) override;

    /// The CURLcode, 0 for success; libcurl's text of the code; what was said about this very request.
    [[nodiscard]] int getCode() const noexcept { return m_code; }
    [[nodiscard]] const String& getErrorString() const noexcept { return m_errorString; }
    [[nodiscard]] const String& getErrorBuffer() const noexcept { return m_errorBuffer; }
    [[nodiscard]] const http::ResponseHeader& getResponseHeader() const noexcept { return m_responseHeader; }

    /// Why it failed; None exactly when the code is 0.
    [[nodiscard]] TransferFailure failure() const noexcept { return m_failure; }
    /// The HTTP status of a proxy that refused, such as 407; 0 otherwise.
    [[nodiscard]] int getProxyStatus() const noexcept { return m_proxyStatus; }
    /// With failure Certificate, whose certificate was refused and why, where the session has words for it (see
    /// CurlSession::describeCertificate()); else null. Never changes.
    [[nodiscard]] const std::shared_ptr<const tls::PeerCertificate>& getPeerCertificate() const noexcept {
        return m_certificate;
    }

    /// Whether the server asked for a certificate of the client's, and whether there was one to show.
    [[nodiscard]] bool askedForIdentity() const noexcept { return m_askedForIdentity; }
    [[nodiscard]] bool hadIdentity() const noexcept { return m_hadIdentity; }

    /// "Code: 6(Could not resolve host name)", and behind a line break what libcurl said, if anything.
    [[nodiscard]] String format() const;

private:
    int m_code = 0;
    String m_errorString;
    String m_errorBuffer;
    http::ResponseHeader m_responseHeader;
    TransferFailure m_failure = TransferFailure::None;
    int m_proxyStatus = 0;
    bool m_askedForIdentity = false;
    bool m_hadIdentity = false;
    std::shared_ptr<const tls::PeerCertificate> m_certificate;
};

}  // namespace tessel
