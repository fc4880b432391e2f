#pragma once

#include <ctime>
#include <memory>

#include "libs/base/memory.h"
#include "libs/base/string.h"

namespace tessel::tls {

/// What a server's certificate says, and why it was not accepted. A plain value; its texts are UTF-8 in which every
/// control byte is escaped as OpenSSL does ("\0A"), since whoever made the certificate chose them.
struct PeerCertificate {
    enum class Reason {
        SelfSigned,     ///< It signed itself and is not among those that this machine trusts.
        UnknownIssuer,  ///< Nobody whom this machine trusts has issued it.
        Expired,
        NotYetValid,  ///< Also what a clock that is slow makes of a good one.
        OtherName,    ///< It is good, for other names than the one that was asked for.
        Weak,         ///< Its key or its signature is too weak for this machine's rules.
        Revoked,
        Other
    };

    Reason reason = Reason::Other;
    /// OpenSSL's code of the reason (X509_V_ERR_...), 0 for OtherName; and its text in English. The reason may lie in
    /// the certificate of an issuer; all else here is the server's own.
    long verifyError = 0;
    String verifyText;

    /// On one line, most specific part first (RFC 4514).
    String subject;
    String issuer;
    /// Seconds since 1970, -1 for a time that cannot be read; and as "2026-01-31 12:00:00 UTC".
    std::time_t notBefore = -1;
    std::time_t notAfter = -1;
    String notBeforeText;
    String notAfterText;
    /// The host names and addresses of its subjectAltName (RFC 5280, 4.2.1.6).
    Strings names;
    /// SHA-256 in lower-case hexadecimal: of the whole certificate, and of its SubjectPublicKeyInfo, which stays when
    /// the certificate is renewed for the same key.
    String fingerprint;
    String keyFingerprint;
    /// OpenSSL's name of the key's kind, such as "RSA", "EC" or "ED25519", and its size.
    String keyKind;
    int keyBits = 0;

    /// Of a certificate (DER) that was refused for this code of OpenSSL's; 0 where OpenSSL had nothing against it and
    /// whoever uses it then found the wrong names. What cannot be read stays empty; null for what is no certificate.
    static std::shared_ptr<const PeerCertificate> describe(const Memory& der, long verifyError);
};

}  // namespace tessel::tls
