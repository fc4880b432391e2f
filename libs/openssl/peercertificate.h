// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ctime>
#include <memory>
#include <optional>
#include <vector>

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
        Changed,    ///< Another key was trusted for this server.
        NotTheOne,  ///< The one with another fingerprint was asked for.
        Other
    };
    /// What alone was accepted of the server, in place of what issuers say.
    struct Trusted {
        /// SHA-256 in lower-case hexadecimal, of the key or of the whole certificate; the other one is empty, and both
        /// are where it cannot be read.
        String keyFingerprint{};
        String fingerprint{};
        /// Seconds since 1970, -1 when nobody knows.
        std::time_t since = -1;
    };

    Reason reason = Reason::Other;
    /// All that is wrong with it and can be told by looking: the reason, and further ones behind it.
    std::vector<Reason> flaws;
    /// Only with Changed and NotTheOne.
    std::optional<Trusted> trusted;
    /// OpenSSL's code (X509_V_ERR_...), 0 where it had nothing against it; and its text in English. What it is against
    /// may lie in the certificate of an issuer; all else here is the server's own.
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
    /// whoever uses it then found the wrong names, or something else than what was trusted. `host` is the one that was
    /// asked for, as networks know it; empty when it does not matter. What cannot be read stays empty; null for what
    /// is no certificate.
    static std::shared_ptr<const PeerCertificate> describe(const Memory& der, long verifyError,
                                                           const String& host = String(),
                                                           const std::optional<Trusted>& trusted = std::nullopt);
};

}  // namespace tessel::tls
