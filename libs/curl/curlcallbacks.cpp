// SPDX-License-Identifier: Apache-2.0
#include <curl/curl.h>
#include <sys/socket.h>

#include <cerrno>

#include "libs/base/log.h"
#include "libs/curl/curlbody.h"
#include "libs/curl/sites.h"

// What libcurl calls during a transfer. No exception may pass through it: its handle would be unusable, and leak.

namespace tessel {

std::size_t CurlEasyWrapper::onBody(char* bytes, std::size_t size, std::size_t count, void* data) noexcept {
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

std::size_t CurlEasyWrapper::onHeader(char* bytes, std::size_t size, std::size_t count, void* self) noexcept {
    CurlEasyWrapper& wrapper = *static_cast<CurlEasyWrapper*>(self);
    try {
        const String line = String::copy(bytes, static_cast<unsigned>(size * count));
        if (line.starts("HTTP/1.")) {
            wrapper.m_responseHeader = http::ResponseHeader(line);
            wrapper.m_headEnded = false;
        } else {
            wrapper.m_headEnded = wrapper.m_headEnded || line.trim().empty();
            wrapper.m_responseHeader.addLine(line);
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

int CurlEasyWrapper::onDebug(void* /*curl*/, int what, char* bytes, std::size_t length, void* self) noexcept {
    // All else, headers and bodies, has secrets in it and is nobody's business here.
    if (what == CURLINFO_SSL_DATA_IN) {
        static_cast<CurlEasyWrapper*>(self)->m_tlsMessages.received(reinterpret_cast<unsigned char*>(bytes), length);
    }
    return 0;
}

int CurlEasyWrapper::openSocket(void* self, int /*purpose*/, curl_sockaddr* address) noexcept {
    // Close-on-exec from the start, so that no program that another thread starts meanwhile inherits the connection.
    const int opened = ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
    if (opened < 0) {
        static_cast<CurlEasyWrapper*>(self)->m_socketError = errno;
    }
    return opened;
}

}  // namespace tessel
