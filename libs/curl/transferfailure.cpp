// SPDX-License-Identifier: Apache-2.0
#include "libs/curl/transferfailure.h"

#include <curl/curl.h>

#include <cerrno>
#include <cstring>

namespace tessel {
namespace {

TransferFailure notConnected(int systemError) noexcept {
    switch (systemError) {
        case ETIMEDOUT:
            return TransferFailure::Silent;
        case ENETUNREACH:
        case EHOSTUNREACH:
        case ENETDOWN:
        case EADDRNOTAVAIL:
            return TransferFailure::NoRoute;
        case EMFILE:
        case ENFILE:
        case ENOBUFS:
        case ENOMEM:
            return TransferFailure::Resources;
        default:
            return TransferFailure::Refused;
    }
}

}  // namespace

TransferFailure failureOf(const TransferEnd& end) noexcept {
    if (end.requestTooLong) {
        return TransferFailure::RequestTooLong;
    }
    if (end.bodyTooLong) {
        return TransferFailure::BodyTooLong;
    }
    if (end.atProxy) {
        return TransferFailure::Proxy;
    }
    switch (end.curlCode) {
        case CURLE_OK:
            return TransferFailure::None;
        case CURLE_UNSUPPORTED_PROTOCOL:
            return end.asked ? TransferFailure::NotHttp : TransferFailure::Url;
        case CURLE_URL_MALFORMAT:
            return TransferFailure::Url;
        case CURLE_COULDNT_RESOLVE_HOST:
            return std::strstr(end.text, "thread failed") != nullptr ? TransferFailure::Resources
                                                                     : TransferFailure::Name;
        case CURLE_COULDNT_CONNECT:
            return notConnected(end.systemError);
        case CURLE_OPERATION_TIMEDOUT:
            return TransferFailure::Silent;
        case CURLE_COULDNT_RESOLVE_PROXY:
        case CURLE_PROXY:
            return TransferFailure::Proxy;
        case CURLE_PEER_FAILED_VERIFICATION:
        case CURLE_SSL_ISSUER_ERROR:
        case CURLE_SSL_INVALIDCERTSTATUS:
        case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
            return TransferFailure::Certificate;
        case CURLE_SSL_CONNECT_ERROR:
        case CURLE_SSL_CACERT_BADFILE:
        case CURLE_SSL_CERTPROBLEM:
        case CURLE_SSL_CIPHER:
            return TransferFailure::Tls;
        case CURLE_WEIRD_SERVER_REPLY:
        case CURLE_BAD_CONTENT_ENCODING:
            return TransferFailure::NotHttp;
        case CURLE_PARTIAL_FILE:
        case CURLE_GOT_NOTHING:
        case CURLE_SEND_ERROR:
        case CURLE_RECV_ERROR:
            return TransferFailure::Cut;
        case CURLE_WRITE_ERROR:
            return TransferFailure::WriteFailed;
        case CURLE_ABORTED_BY_CALLBACK:
            return TransferFailure::Cancelled;
        case CURLE_OUT_OF_MEMORY:
            return end.asked ? TransferFailure::NotHttp : TransferFailure::Resources;
        case CURLE_FAILED_INIT:
            return TransferFailure::Resources;
        default:
            return TransferFailure::Other;
    }
}

}  // namespace tessel
