// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ctime>
#include <vector>

#include "apps/nebrixclient/account.h"
#include "apps/nebrixclient/view/endtext.h"

namespace tessel::view {

/// What the certificate dialog shows, so that somebody can decide on a refused certificate: a plain value, made from a
/// session's account. Every text may stand in one line or, fingerprints, in two; what others chose is escaped and
/// bounded.
struct CertificateView {
    /// A key of the catalog with no "%s", and what stands beside it.
    struct Fact {
        const char* label;
        String value;
    };

    /// Whether there is something to decide: the certificate itself is why the gateway was not asked, and it is known.
    static bool offered(const SessionEnd& end);
    /// Of an end for which offered() is true. `forbidden`: an administrator lets nobody accept it.
    explicit CertificateView(const SessionEnd& end, bool forbidden = false);

    EndText question;            ///< for which request it was shown, and that this was not made
    std::vector<EndText> flaws;  ///< all that is wrong, the worst first
    std::vector<Fact> facts;     ///< whose, by whom, from when to when, for which names
    /// To be compared digit by digit: the certificate's SHA-256; where another key was trusted, that and this one too.
    std::vector<Fact> fingerprints;

    bool forbidden;
    /// What trust() of the configuration takes.
    String server;
    String keyDigest;
};

/// On this computer's clock, "2026-01-31 13:00:00 UTC+01:00"; empty for -1.
String localTime(std::time_t seconds);

/// A fingerprint in two lines, each of two groups of eight bytes.
String groupedFingerprint(const String& hex);

}  // namespace tessel::view
