// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/view/certificateview.h"

#include <algorithm>

#include "libs/base/datetime.h"
#include "libs/openssl/fingerprint.h"
#include "libs/openssl/peercertificate.h"

namespace tessel::view {

namespace {

using tls::PeerCertificate;
using Reason = PeerCertificate::Reason;

constexpr std::size_t kMostNames = 6;

String namesOf(const PeerCertificate& peer) {
    const std::size_t count = std::min(kMostNames, peer.names.size());
    Strings names(peer.names.begin(), peer.names.begin() + static_cast<long>(count));
    if (count < peer.names.size()) {
        names.push_back("\u2026");
    }
    return shown(String(", ").glue(names));
}

EndText changedText(const PeerCertificate& peer) {
    const std::time_t since = peer.trusted ? peer.trusted->since : -1;
    return since < 0 ? EndText{"CERTIFICATE_HAS_OTHER_KEY"} : EndText{"CERTIFICATE_HAS_CHANGED %s", localTime(since)};
}

EndText flawText(Reason flaw, const PeerCertificate& peer, const String& host) {
    switch (flaw) {
        case Reason::SelfSigned:
            return {"CERTIFICATE_IS_SELF_SIGNED"};
        case Reason::UnknownIssuer:
            return {"CERTIFICATE_HAS_UNKNOWN_ISSUER"};
        case Reason::Expired:
            // The one that has expired may be an issuer's.
            return peer.notAfter < std::time(nullptr) ? EndText{"CERTIFICATE_HAS_EXPIRED %s", localTime(peer.notAfter)}
                                                      : EndText{"CERTIFICATE_HAS_EXPIRED_ISSUER"};
        case Reason::NotYetValid:
            return {"CERTIFICATE_IS_VALID_FROM %s", localTime(peer.notBefore)};
        case Reason::OtherName:
            return {"CERTIFICATE_HAS_OTHER_NAME %s", host};
        case Reason::Weak:
            return {"CERTIFICATE_IS_WEAK"};
        case Reason::Revoked:
            return {"CERTIFICATE_IS_REVOKED"};
        case Reason::Changed:
        case Reason::NotTheOne:
            return changedText(peer);
        case Reason::Other:
            break;
    }
    return {"CERTIFICATE_IS_REFUSED %s", shown(peer.verifyText)};
}

EndText questionText(const SessionEnd& end) {
    switch (end.request) {
        case EndKind::ArchiveMissing:
            return {"CERTIFICATE_QUESTION_DOWNLOAD %s", shown(end.host)};
        case EndKind::PostLost:
            return {"CERTIFICATE_QUESTION_RESULT %s", shown(end.host)};
        default:
            return {"CERTIFICATE_QUESTION %s", shown(end.host)};
    }
}

}  // namespace

String localTime(std::time_t seconds) {
    if (seconds == -1) {
        return {};
    }
    const String offset = DateTime(seconds).toString("%z");  // "+0530"
    String text = DateTime(seconds).toString("%Y-%m-%d %H:%M:%S UTC");
    if (!(offset == "+0000")) {
        text.append(offset.range(0, 3), ":", offset.range(3, 5));
    }
    return text;
}

String groupedFingerprint(const String& hex) {
    constexpr unsigned kGroup = 8 * 3 - 1;  // characters: "3A:0F:..."
    constexpr unsigned kWhole = 4 * (kGroup + 1) - 1;
    String text = tls::fingerprintText(hex);
    if (text.length() != kWhole) {
        return text;
    }
    const auto group = [&](unsigned number) {
        return text.range(number * (kGroup + 1), number * (kGroup + 1) + kGroup);
    };
    return group(0) + "  " + group(1) + "\n" + group(2) + "  " + group(3);
}

bool CertificateView::offered(const SessionEnd& end) {
    return end.kind == EndKind::Certificate && end.peer != nullptr && !end.peer->keyFingerprint.empty();
}

CertificateView::CertificateView(const SessionEnd& end, bool isForbidden)
    : question(questionText(end)), forbidden(isForbidden), server(end.host), keyDigest(end.peer->keyFingerprint) {
    const PeerCertificate& peer = *end.peer;
    for (const Reason flaw : peer.flaws) {
        flaws.push_back(flawText(flaw, peer, shown(end.host)));
    }
    facts = {{"CERTIFICATE_SUBJECT", shown(peer.subject)},
             {"CERTIFICATE_ISSUER", shown(peer.issuer)},
             {"CERTIFICATE_NOT_BEFORE", localTime(peer.notBefore)},
             {"CERTIFICATE_NOT_AFTER", localTime(peer.notAfter)},
             {"CERTIFICATE_NAMES", namesOf(peer)}};
    std::erase_if(facts, [](const Fact& fact) { return fact.value.empty(); });
    fingerprints.push_back({"CERTIFICATE_FINGERPRINT", groupedFingerprint(peer.fingerprint)});
    if (peer.trusted && !peer.trusted->keyFingerprint.empty()) {
        fingerprints.push_back({"CERTIFICATE_TRUSTED_KEY", groupedFingerprint(peer.trusted->keyFingerprint)});
        fingerprints.push_back({"CERTIFICATE_PRESENT_KEY", groupedFingerprint(peer.keyFingerprint)});
    }
}

}  // namespace tessel::view
