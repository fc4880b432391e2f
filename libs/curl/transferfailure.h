#pragma once

namespace tessel {

/// Why a request brought no whole answer. An answer of any HTTP status is a whole one.
enum class TransferFailure {
    None,
    Url,             ///< The URL is none, or its scheme is neither http nor https. Nothing was sent.
    RequestTooLong,  ///< URL or cookie are longer than libcurl can send. Nothing was sent.
    Name,            ///< The host's name is unknown, or nobody answers for names.
    NoRoute,         ///< No network leads to the host.
    Refused,         ///< The host is there and nothing listens on its port.
    Silent,          ///< The host did not answer in the time that the system gives it.
    Proxy,           ///< The proxy is misnamed, unreachable, or refuses (RequestInfo::getProxyStatus() then says how).
    Certificate,     ///< The server's certificate is not accepted (RequestInfo::getPeerCertificate() says whose it is).
    Tls,             ///< TLS was not agreed on, for another reason.
    NotHttp,         ///< What came is no HTTP answer.
    Cut,             ///< The connection ended before the answer did.
    BodyTooLong,     ///< The body is longer than its bound.
    WriteFailed,     ///< The body could not be put where it was to go.
    Cancelled,       ///< CurlSession::cancel().
    Resources,       ///< This machine gave no memory, thread or descriptor.
    Other
};

/// What a CURLcode comes from, with the errno of the last system call that failed.
TransferFailure failureOf(int curlCode, int systemError) noexcept;

}  // namespace tessel
