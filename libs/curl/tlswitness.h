#pragma once

#include <memory>

namespace tessel {

namespace tls {
struct PeerCertificate;
}

/// Looks on while one request agrees on TLS, and changes nothing of it. Called on the request's thread only.
class ITlsWitness {
public:
    /// Called before each handshake with libcurl's context for it, an OpenSSL "SSL_CTX*".
    virtual void attach(void* context) noexcept = 0;
    /// What the server showed in the last handshake, when its certificate was not accepted; null when it showed none
    /// or memory ended.
    [[nodiscard]] virtual std::shared_ptr<const tls::PeerCertificate> refused() const noexcept = 0;
    virtual ~ITlsWitness() = default;
};

}  // namespace tessel
