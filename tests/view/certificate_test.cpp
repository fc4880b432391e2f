// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "apps/nebrixclient/view/certificateview.h"
#include "libs/openssl/peercertificate.h"

namespace tessel::view {
namespace {

using Reason = tls::PeerCertificate::Reason;

SessionEnd refused(const tls::PeerCertificate& peer, EndKind kind = EndKind::Certificate) {
    return {.kind = kind, .host = "gw:8443", .peer = std::make_shared<const tls::PeerCertificate>(peer)};
}

tls::PeerCertificate certificate() {
    tls::PeerCertificate peer;
    peer.subject = "CN=gw";
    peer.notAfter = 1;
    peer.verifyText = "bad\x01";
    peer.fingerprint = "00112233445566778899aabbccddeeff0123456789abcdef0123456789abcdef";
    peer.keyFingerprint = peer.fingerprint.replace("0", "f");
    return peer;
}

TEST(CertificateView, saysAllThatIsWrong) {
    tls::PeerCertificate peer = certificate();
    const std::tuple<Reason, const char*, const char*> cases[] = {
        {Reason::SelfSigned, "CERTIFICATE_IS_SELF_SIGNED", nullptr},
        {Reason::UnknownIssuer, "CERTIFICATE_HAS_UNKNOWN_ISSUER", nullptr},
        {Reason::Expired, "CERTIFICATE_HAS_EXPIRED %s", "1970-01-01 00:00:01 UTC"},
        {Reason::OtherName, "CERTIFICATE_HAS_OTHER_NAME %s", "gw:8443"},
        {Reason::Weak, "CERTIFICATE_IS_WEAK", nullptr},
        {Reason::Changed, "CERTIFICATE_HAS_CHANGED %s", "1970-01-02 00:00:00 UTC"},
        {Reason::Other, "CERTIFICATE_IS_REFUSED %s", "bad\\x01"}};
    peer.trusted = {.keyFingerprint = peer.fingerprint, .since = 86400};
    for (const auto& row : cases) {
        peer.flaws.push_back(std::get<Reason>(row));
    }
    const CertificateView view(refused(peer));
    ASSERT_EQ(view.flaws.size(), std::size(cases));
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const auto& [flaw, key, fill] = cases[i];
        EXPECT_STREQ(view.flaws[i].key, key);
        EXPECT_EQ(view.flaws[i].fill, fill != nullptr ? std::optional<String>(fill) : std::nullopt) << key;
    }
    EXPECT_EQ(view.fingerprints.size(), 3U) << "the certificate's, the trusted key's, this key's";
    EXPECT_EQ(view.server, "gw:8443");
    EXPECT_EQ(view.keyDigest, peer.keyFingerprint);
}

TEST(CertificateView, givesTimesOnThisComputersClock) {
    const std::tuple<const char*, std::time_t, const char*> cases[] = {
        {"CET-1CEST,M3.5.0,M10.5.0/3", 1785499200, "2026-07-31 14:00:00 UTC+02:00"},
        {"<-0330>3:30", 1769860800, "2026-01-31 08:30:00 UTC-03:30"},
        {"UTC0", 1769860800, "2026-01-31 12:00:00 UTC"}};
    for (const auto& [zone, seconds, text] : cases) {
        setenv("TZ", zone, 1);
        tzset();
        EXPECT_EQ(localTime(seconds), text) << zone;
    }
}

TEST(CertificateView, boundsAndEscapesWhatItsMakerChose) {
    tls::PeerCertificate peer = certificate();
    peer.subject = "CN=\u202E";
    peer.issuer = String();
    peer.issuer.append(100, 'a').append("\u00FC").append(100000, 'b');
    peer.names = Strings(100000, "name.example");
    const CertificateView view(refused(peer));
    ASSERT_EQ(view.facts.size(), 4U) << "what is not known is left out";
    EXPECT_EQ(view.facts[0].value, "CN=\\xe2\\x80\\xae");
    for (const CertificateView::Fact& fact : view.facts) {
        EXPECT_LT(fact.value.length(), 220U) << fact.label;
    }
    EXPECT_TRUE(view.facts.back().value.ends(", \u2026")) << view.facts.back().value.str();
    EXPECT_EQ(view.fingerprints[0].value,
              "00:11:22:33:44:55:66:77  88:99:AA:BB:CC:DD:EE:FF\n01:23:45:67:89:AB:CD:EF  01:23:45:67:89:AB:CD:EF");
}

TEST(CertificateView, isOfferedForARefusedCertificateThatIsKnown) {
    EXPECT_TRUE(CertificateView::offered(refused(certificate())));
    EXPECT_FALSE(CertificateView::offered(refused(certificate(), EndKind::Unreachable)));
    EXPECT_FALSE(CertificateView::offered(refused(tls::PeerCertificate())));
    EXPECT_FALSE(CertificateView::offered({.kind = EndKind::Certificate}));
}

}  // namespace
}  // namespace tessel::view
