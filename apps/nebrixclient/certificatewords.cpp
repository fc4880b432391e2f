// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/certificatewords.h"

#include <algorithm>

#include "libs/base/datetime.h"
#include "libs/base/numbers.h"
#include "libs/openssl/fingerprint.h"

namespace tessel {

namespace {

using tls::PeerCertificate;
using Reason = PeerCertificate::Reason;

String flawInWords(Reason flaw, const PeerCertificate& certificate) {
    switch (flaw) {
        case Reason::Expired:
            // The one that has expired may be an issuer's.
            return certificate.notAfter != -1 && certificate.notAfter < std::time(nullptr)
                       ? String("it expired on " + certificate.notAfterText)
                       : tessel::flawInWords(EndCause::Expired);
        case Reason::NotYetValid:
            return "it is valid from " + certificate.notBeforeText + " on";
        case Reason::Changed:
            return "its key is not the one that has been trusted since " +
                   timeInWords(certificate.trusted ? certificate.trusted->since : -1);
        case Reason::Other:
            return certificate.verifyText;
        default:
            return tessel::flawInWords(causeOf(flaw));
    }
}

String namesOf(const PeerCertificate& certificate) {
    constexpr std::size_t kMost = 20;
    Strings names(certificate.names.begin(),
                  certificate.names.begin() + static_cast<long>(std::min(kMost, certificate.names.size())));
    if (names.size() < certificate.names.size()) {
        names.push_back("...");
    }
    return String(", ").glue(names);
}

}  // namespace

EndCause causeOf(Reason reason) noexcept {
    switch (reason) {
        case Reason::SelfSigned:
            return EndCause::SelfSigned;
        case Reason::UnknownIssuer:
            return EndCause::UnknownIssuer;
        case Reason::Expired:
            return EndCause::Expired;
        case Reason::NotYetValid:
            return EndCause::NotYetValid;
        case Reason::OtherName:
            return EndCause::OtherName;
        case Reason::Weak:
            return EndCause::Weak;
        case Reason::Revoked:
            return EndCause::Revoked;
        case Reason::Changed:
            return EndCause::Changed;
        case Reason::NotTheOne:
            return EndCause::NotTheOne;
        case Reason::Other:
            break;
    }
    return EndCause::None;
}

String flawInWords(EndCause cause) {
    switch (cause) {
        case EndCause::SelfSigned:
            return "it is signed by itself alone";
        case EndCause::UnknownIssuer:
            return "its issuer is unknown";
        case EndCause::Expired:
            return "it has expired";
        case EndCause::NotYetValid:
            return "it is not yet valid";
        case EndCause::OtherName:
            return "it was issued for another name";
        case EndCause::Weak:
            return "its key or signature is too weak";
        case EndCause::Revoked:
            return "it has been revoked";
        case EndCause::Changed:
            return "its key is not the one that was trusted";
        case EndCause::NotTheOne:
            return "it is not the one whose fingerprint was given";
        default:
            return {};
    }
}

String flawsInWords(const PeerCertificate& certificate) {
    Strings clauses;
    for (const Reason flaw : certificate.flaws) {
        clauses.push_back(flawInWords(flaw, certificate));
    }
    return String(", ").glue(clauses);
}

String summaryOf(const PeerCertificate& certificate) {
    String text = certificate.subject + ", issued by " + certificate.issuer + ", valid from " +
                  certificate.notBeforeText + " until " + certificate.notAfterText + ", SHA-256 " +
                  tls::fingerprintText(certificate.fingerprint);
    if (certificate.trusted && certificate.trusted->fingerprint.empty()) {
        text += ", key SHA-256 " + tls::fingerprintText(certificate.keyFingerprint) + ", trusted key SHA-256 " +
                tls::fingerprintText(certificate.trusted->keyFingerprint);
    } else if (certificate.trusted) {
        text += ", given SHA-256 " + tls::fingerprintText(certificate.trusted->fingerprint);
    }
    return text;
}

Strings linesOf(const PeerCertificate& certificate) {
    Strings lines{"issued to: " + certificate.subject,
                  "issued by: " + certificate.issuer,
                  "valid: from " + certificate.notBeforeText + " until " + certificate.notAfterText,
                  "names: " + namesOf(certificate),
                  "key: " + certificate.keyKind + ", " + toString(certificate.keyBits) + " bits",
                  "key SHA-256: " + tls::fingerprintText(certificate.keyFingerprint),
                  "certificate SHA-256: " + tls::fingerprintText(certificate.fingerprint)};
    if (certificate.trusted && certificate.trusted->fingerprint.empty()) {
        const String digest = tls::fingerprintText(certificate.trusted->keyFingerprint);
        lines.push_back("trusted key SHA-256: " + (digest.empty() ? String("cannot be read") : digest));
        lines.push_back("trusted since: " + timeInWords(certificate.trusted->since));
    } else if (certificate.trusted) {
        lines.push_back("given SHA-256: " + tls::fingerprintText(certificate.trusted->fingerprint));
    }
    return lines;
}

String timeInWords(std::time_t seconds) {
    return seconds < 0 ? String("an unknown time") : DateTime(seconds).toUtcString("%Y-%m-%d %H:%M:%S UTC");
}

}  // namespace tessel
