#pragma once

#include "libs/base/string.h"
#include "libs/http/header.h"

namespace tessel {

class CurlEasyWrapper;

/// What wants to know how a request ended.
class IRequestInfo {
public:
    /// Called on the request's thread after the transfer, whatever its outcome.
    virtual void readFromCurl(const CurlEasyWrapper& handle) = 0;
    virtual ~IRequestInfo() = default;
};

/// The outcome of one request. A value that shares nothing with the session: it may be copied to another thread.
class RequestInfo : public IRequestInfo {
public:
    void readFromCurl(const CurlEasyWrapper& handle) override;

    /// The CURLcode, 0 for success; libcurl's text of the code; what libcurl said about this very request.
    [[nodiscard]] int getCode() const noexcept { return m_code; }
    [[nodiscard]] const String& getErrorString() const noexcept { return m_errorString; }
    [[nodiscard]] const String& getErrorBuffer() const noexcept { return m_errorBuffer; }
    [[nodiscard]] const http::ResponseHeader& getResponseHeader() const noexcept { return m_responseHeader; }

    /// "Code: 6(Could not resolve host name)", and behind a line break what libcurl said, if anything.
    [[nodiscard]] String format() const;

private:
    int m_code = 0;
    String m_errorString;
    String m_errorBuffer;
    http::ResponseHeader m_responseHeader;
};

}  // namespace tessel
