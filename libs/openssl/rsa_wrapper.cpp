// SPDX-License-Identifier: Apache-2.0
// The key is kept in the form that RSA_verify takes, which OpenSSL 3 calls deprecated and still supports.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "libs/openssl/rsa_wrapper.h"

#include <openssl/rsa.h>
#include <openssl/sha.h>

#include <cstring>

#include "libs/base/assertion.h"
#include "libs/openssl/opensslhandles.h"
#include "libs/openssl/sites.h"

namespace tessel::tls {
namespace {

constexpr int kMinimumBits = 2048;

struct Sha1Digest {
    unsigned char bytes[SHA_DIGEST_LENGTH];

    Sha1Digest(const unsigned char* data, unsigned long length) noexcept {
        SHA_CTX context;
        SHA1_Init(&context);
        SHA1_Update(&context, data, length);
        SHA1_Final(bytes, &context);
    }
};

}  // namespace

void RSA::destroy() noexcept {
    RSA_free(m_rsa);
    m_rsa = nullptr;
}

unsigned RSA::size() const noexcept { return m_rsa != nullptr ? static_cast<unsigned>(RSA_size(m_rsa)) : 0; }

int RSA::verify(const unsigned char* data, unsigned long length, const unsigned char* signature) const {
    TESSEL_ASSERT(m_rsa != nullptr, "m_rsa != 0", sites::kRsaVerifyNoKey);
    const Sha1Digest digest(data, length);
    const int genuine = RSA_verify(NID_sha1, digest.bytes, sizeof digest.bytes, signature, size(), m_rsa);
    ERR_clear_error();
    return genuine;
}

int RSA::verify(const unsigned char* data, unsigned long length, const Memory& signature) const {
    TESSEL_ASSERT(m_rsa != nullptr, "m_rsa != 0", sites::kRsaVerifyNoKey);
    if (signature.length() == size()) {
        return verify(data, length, signature.array());
    }
    // Not the signature's bytes and a filling, which might happen to be its missing end, but a number beyond every
    // modulus: it fails inside RSA_verify.
    Memory never;
    never.append(size(), 0xFF);
    return verify(data, length, never.array());
}

Memory RSA::sign(const unsigned char* data, unsigned long length) {
    TESSEL_ASSERT(m_rsa != nullptr, "m_rsa != 0", sites::kRsaSignNoKey);
    const Sha1Digest digest(data, length);
    Memory signature;
    unsigned written = 0;
    unsigned char* place = signature.reserve(size());
    if (RSA_get0_d(m_rsa) == nullptr ||
        RSA_sign(NID_sha1, digest.bytes, sizeof digest.bytes, place, &written, m_rsa) != 1) {
        raiseOpenssl<ELibContext>("ELibContext", sites::kRsaSign);
    }
    signature.grow(written);
    return signature;
}

void RSA::generate(unsigned bits) {
    destroy();
    const EvpKeyPointer key(bits >= kMinimumBits ? EVP_RSA_gen(bits) : nullptr);
    m_rsa = key != nullptr ? EVP_PKEY_get1_RSA(key.get()) : nullptr;
    if (m_rsa == nullptr) {
        raiseOpenssl<ELibContext>("ELibContext", sites::kRsaGenerate);
    }
}

}  // namespace tessel::tls
