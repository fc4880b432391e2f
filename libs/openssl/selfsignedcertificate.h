// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/memory.h"
#include "libs/base/string.h"
#include "libs/openssl/errors.h"

namespace tessel::tls {

/// A server certificate that signs itself, with its key, made in memory: for a server on loopback.
/// Valid from one hour ago (clocks differ) for the days given; version 3 with the names as subjectAltName (RFC 5280).
class SelfSignedCertificate {
public:
    enum class Key { Rsa2048, EcP256 };

    struct Names {
        Strings dns;        ///< The first is also the subject's common name.
        Strings addresses;  ///< IPv4 or IPv6 in their text forms.
    };

    /// Raises ELibContext, also for an address that is none or a name with a comma, colon or control byte.
    explicit SelfSignedCertificate(const Names& names, Key key = Key::EcP256, int days = 30);

    [[nodiscard]] const String& certificatePem() const noexcept { return m_certificate; }
    [[nodiscard]] const String& keyPem() const noexcept { return m_key; }
    /// Writes both as files that only their owner may read (mode 0600). What is at the paths is replaced, links are
    /// not followed. Raises ELibContext when a file cannot be written.
    void writeFiles(const String& certificatePath, const String& keyPath) const;

private:
    String m_certificate;
    String m_key;
};

}  // namespace tessel::tls
