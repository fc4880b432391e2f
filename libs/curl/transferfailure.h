// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace tessel {

/// Why a request brought no whole answer. An answer of any HTTP status is a whole one.
enum class TransferFailure {
    None,
    Url,             ///< The URL is none, or its scheme is neither http nor https. Nothing was sent.
    RequestTooLong,  ///< URL and cookies are longer together than can be sent. Nothing was sent.
    Name,            ///< The host's name is unknown, or nobody answers for names.
    NoRoute,         ///< No network leads to the host.
    Refused,         ///< The host is there and nothing listens on its port.
    Silent,          ///< The host did not answer in the time that the system gives it.
    Proxy,           ///< The proxy is misnamed, unreachable, or refuses (RequestInfo::getProxyStatus() then says how).
    Certificate,     ///< The server's certificate is not accepted (RequestInfo::getPeerCertificate() says whose it is).
    Tls,             ///< TLS was not agreed on, for another reason.
    NotHttp,         ///< What came is no HTTP answer, or one with a header beyond all measure.
    Cut,             ///< The connection ended before the answer did.
    BodyTooLong,     ///< The body is longer than its bound.
    WriteFailed,     ///< The body could not be put where it was to go.
    Cancelled,       ///< CurlSession::cancel().
    Resources,       ///< This machine gave no memory, thread or descriptor.
    Other
};

/// What libcurl tells of a transfer's end. Its codes alone say too little: 7 may be the host or the proxy, 1 the URL or
/// the answer, 6 the name or a thread that could not be made, 27 memory or a header line of 100 KB.
struct TransferEnd {
    int curlCode = 0;
    int systemError = 0;    ///< errno of the last system call that failed, 0 if none
    const char* text = "";  ///< the error buffer
    bool asked = false;     ///< the request was sent
    bool atProxy = false;   ///< the proxy is what failed
    bool requestTooLong = false;
    bool bodyTooLong = false;
};

TransferFailure failureOf(const TransferEnd& end) noexcept;

}  // namespace tessel
