// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "libs/base/memory.h"
#include "libs/base/string.h"
#include "libs/openssl/errors.h"

namespace tessel::tls {

/// What is wrong with the files of a client certificate.
enum class IdentityFault {
    NoCertificate = 1,  ///< neither PEM (RFC 7468) nor PKCS #12 (RFC 7292) with a certificate in it
    NoKey,              ///< none, or one that cannot be read
    PasswordMissing,
    WrongPassword,
    OtherKey,  ///< the key belongs to none of the certificates
    Expired,
    NotYetValid,
    OldEncryption  ///< by a method that OpenSSL 3 leaves out, as older programs write PKCS #12
};

/// The facts' cause is an IdentityFault, their words say the same in a clause; no other exception of this kind has
/// them.
TESSEL_EXCEPTION(EClientIdentity, ELibContext);

/// What a client proves with who it is: a certificate and its private key. A plain value.
struct ClientIdentity {
    String certificatePem{};  ///< its own certificate, and behind it those that came with it
    String keyPem{};          ///< PKCS #8, not encrypted: a secret
    String subject{};         ///< on one line (RFC 4514)

    /// From the bytes of files, whose form is told by what is in them: PEM, with the key there or in `key`, or PKCS
    /// #12, for which `key` does not matter. The certificate that the key belongs to is taken for one's own, wherever
    /// it stands. Raises EClientIdentity, also for a certificate that is not valid today.
    static ClientIdentity read(const Memory& certificate, const Memory& key, const std::optional<String>& password);
};

/// How many certificates the PEM text holds before its end or the first one that cannot be read.
unsigned certificatesIn(const Memory& pem);

}  // namespace tessel::tls
