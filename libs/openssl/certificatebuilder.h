// SPDX-License-Identifier: Apache-2.0
#pragma once

// Internal to libs/openssl: how certificates come to be.

#include "libs/openssl/opensslhandles.h"
#include "libs/openssl/selfsignedcertificate.h"

namespace tessel::tls {

/// Raises ELibContext, with OpenSSL's reason, when a step has failed.
void requireStep(bool success);

/// A version 3 extension in OpenSSL's configuration language, see x509v3_config(5).
struct Extension {
    int nid;
    const char* value;
};

/// What vouches for a certificate; null: the certificate itself.
struct Issuer {
    X509* certificate = nullptr;
    EVP_PKEY* key = nullptr;
};

EvpKeyPointer makeKeyPair(SelfSignedCertificate::Key kind);
/// For the public half of the key, with the names and these extensions; signed. Raises ELibContext.
X509Pointer makeCertificate(const SelfSignedCertificate::Names& names, EVP_PKEY* key, int days,
                            std::initializer_list<Extension> extensions, Issuer issuer = {});

String pemOf(X509* certificate);
/// PKCS #8, not encrypted.
String pemOf(EVP_PKEY* key);

}  // namespace tessel::tls
