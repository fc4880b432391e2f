// SPDX-License-Identifier: Apache-2.0
#include "libs/curl/tlsmessages.h"

#include <exception>
#include <span>

namespace tessel {
namespace {

using Bytes = std::span<const unsigned char>;

constexpr unsigned char kCertificate = 11;         // a handshake message's type
constexpr unsigned char kCertificateRequest = 13;  // and another one's
constexpr unsigned char kCloseNotify = 0;          // an alert's description
constexpr std::size_t kAlert = 2;                  // bytes
constexpr std::size_t kLength = 3;                 // bytes of a length

/// What a length of three bytes stands in front of, if it is there whole.
Bytes counted(Bytes bytes) {
    if (bytes.size() < kLength) {
        return {};
    }
    const std::size_t length = std::size_t{bytes[0]} << 16 | std::size_t{bytes[1]} << 8 | bytes[2];
    return length <= bytes.size() - kLength ? bytes.subspan(kLength, length) : Bytes();
}

/// The first of a Certificate message's certificates. In TLS 1.3 the length of a context, which a server leaves empty,
/// stands before them.
Bytes firstCertificate(Bytes message) {
    const Bytes body = counted(message.subspan(1));
    const Bytes list = counted(body);
    if (list.size() + kLength == body.size()) {
        return counted(list);
    }
    return !body.empty() && body[0] == 0 ? counted(counted(body.subspan(1))) : Bytes();
}

}  // namespace

void TlsMessages::received(const unsigned char* bytes, std::size_t length) noexcept {
    const Bytes message(bytes, length);
    if (length == kAlert) {
        m_closed = m_closed || message[1] == kCloseNotify;
    } else if (length > kLength && message[0] == kCertificateRequest &&
               counted(message.subspan(1)).size() + kLength + 1 == length) {
        m_asked = true;
    } else if (length > kAlert && message[0] == kCertificate) {
        try {
            const Bytes first = firstCertificate(message);
            m_certificate = Memory::copy(first.data(), static_cast<unsigned>(first.size()));
        } catch (const std::exception&) {
            m_certificate = Memory();
        }
    }
}

}  // namespace tessel
