// SPDX-License-Identifier: Apache-2.0
#pragma once

// Internal to libs/curl.

#include <cstddef>

#include "libs/base/memory.h"

namespace tessel {

/// What a request's TLS connection told, read off the messages that libcurl shows while it runs (TLS 1.2: RFC 5246,
/// TLS 1.3: RFC 8446). They are shown decrypted and whole. Looking on changes nothing, where a hook into OpenSSL would
/// end the reuse of sessions.
class TlsMessages {
public:
    /// Takes what was received: a handshake message, an alert, or a record's header, which is passed over.
    void received(const unsigned char* bytes, std::size_t length) noexcept;

    /// The server's own certificate as it was last sent, in DER; empty when none was, as in a resumed session.
    [[nodiscard]] const Memory& certificate() const noexcept { return m_certificate; }
    /// Whether the server asked for a certificate of the client's.
    [[nodiscard]] bool asked() const noexcept { return m_asked; }
    /// Whether the server said that nothing more comes (close_notify). Without it, an end may be anybody's doing.
    [[nodiscard]] bool closed() const noexcept { return m_closed; }

private:
    Memory m_certificate;
    bool m_asked = false;
    bool m_closed = false;
};

}  // namespace tessel
