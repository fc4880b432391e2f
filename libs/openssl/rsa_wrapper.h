// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/memory.h"
#include "libs/base/string.h"
#include "libs/openssl/errors.h"
#include "libs/openssl/isign.h"

struct rsa_st;

namespace tessel::tls {

/// One RSA key, its public half or both, or none. Signs and verifies with PKCS #1 v1.5 over SHA-1 (RFC 8017).
/// Owns the key. Used by one thread at a time.
class RSA final : public ISign {
public:
    RSA() noexcept = default;
    RSA(const RSA&) = delete;
    RSA& operator=(const RSA&) = delete;
    ~RSA() override { destroy(); }

    /// Loads the first key of the PEM text, replacing the one held; 1 on success, 0 on failure (then no key is
    /// held): the text is no PEM, damaged, another algorithm's, or the password is wrong. A password is never asked
    /// for on the terminal. publicKey: a SubjectPublicKeyInfo ("PUBLIC KEY"), else a private key.
    int loadFromMem(const char* pem, const char* password, bool publicKey);
    /// Frees the key.
    void destroy() noexcept;
    [[nodiscard]] bool loaded() const noexcept { return m_rsa != nullptr; }
    /// Bytes of the modulus, which is also a signature's length; 0 without a key.
    [[nodiscard]] unsigned size() const noexcept;

    /// Greater than 0 when the signature over the data is genuine. Exactly size() bytes are read from `signature`,
    /// whatever their number was where they came from. Without a key the process ends.
    int verify(const unsigned char* data, unsigned long length, const unsigned char* signature) const;
    /// The same for a signature of any length: one that is not size() bytes long is never genuine.
    [[nodiscard]] int verify(const unsigned char* data, unsigned long length, const Memory& signature) const;

    /// The signature, size() bytes. Raises ELibContext when it cannot be made, as with a public half alone. Without a
    /// key the process ends.
    Memory sign(const unsigned char* data, unsigned long length) override;

    /// Makes a new key pair of `bits` (2048 or more), replacing the key held. Takes up to some seconds. Raises
    /// ELibContext.
    void generate(unsigned bits = 2048);
    /// The key as PEM text: SubjectPublicKeyInfo, or PKCS #8 without encryption. Raise ELibContext without that half.
    [[nodiscard]] String publicPem() const;
    [[nodiscard]] String privatePem() const;

private:
    rsa_st* m_rsa = nullptr;
};

}  // namespace tessel::tls
