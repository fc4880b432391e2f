// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/openssl/selfsignedcertificate.h"

namespace tessel::tls {

/// A certificate that an authority vouches for, with its key (PKCS #8), as PEM.
struct IssuedCertificate {
    String certificatePem;
    String keyPem;

    /// Both in one file (PKCS #12, RFC 7292), encrypted with the password. Raises ELibContext.
    [[nodiscard]] Memory pkcs12(const String& password) const;
};

/// An authority of one's own, made in memory, whose key nobody else has: for a private network's certificates.
class CertificateAuthority {
public:
    /// What the holder may do, as the extended key usage says it (RFC 5280, section 4.2.1.12).
    enum class Purpose { Server, Client };

    /// The name is a DNS name like those of SelfSignedCertificate. Raises ELibContext.
    explicit CertificateAuthority(const String& name, int days = 30);

    [[nodiscard]] const String& certificatePem() const noexcept { return m_own.certificatePem(); }
    /// A new key (EC, P-256) and a certificate for it, as long valid as the authority. Raises ELibContext.
    [[nodiscard]] IssuedCertificate issue(const SelfSignedCertificate::Names& names, Purpose purpose) const;

private:
    SelfSignedCertificate m_own;
    int m_days;
};

}  // namespace tessel::tls
