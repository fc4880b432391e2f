// SPDX-License-Identifier: Apache-2.0
#include "libs/openssl/digest.h"

#include "libs/openssl/opensslhandles.h"
#include "libs/openssl/sites.h"

namespace tessel::tls {

void EVPDigest::Free::operator()(evp_md_ctx_st* context) const noexcept { EVP_MD_CTX_free(context); }

EVPDigest::EVPDigest(const char* name) : m_context(EVP_MD_CTX_new()) {
    const EVP_MD* digest = EVP_get_digestbyname(name);
    if (digest == nullptr || m_context == nullptr || EVP_DigestInit_ex(m_context.get(), digest, nullptr) != 1) {
        raiseOpenssl<EEVPDigest>("EEVPDigest", sites::kDigestName);
    }
}

void EVPDigest::feed(const void* bytes, unsigned long length) {
    if (EVP_DigestUpdate(m_context.get(), bytes, length) != 1) {
        raiseOpenssl<EEVPDigest>("EEVPDigest", sites::kDigestFeed);
    }
}

Memory EVPDigest::result() {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    // A null digest starts the same one anew.
    if (EVP_DigestFinal_ex(m_context.get(), digest, &length) != 1 ||
        EVP_DigestInit_ex(m_context.get(), nullptr, nullptr) != 1) {
        raiseOpenssl<EEVPDigest>("EEVPDigest", sites::kDigestFeed);
    }
    return Memory::copy(digest, length);
}

}  // namespace tessel::tls
