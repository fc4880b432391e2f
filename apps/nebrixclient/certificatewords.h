// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "apps/nebrixclient/account.h"
#include "libs/openssl/peercertificate.h"

// A refused certificate in words, for log and terminal. What its maker chose stands there as it is: whoever shows it
// escapes it (libs/base/printable.h).
namespace tessel {

/// None for a reason that has no cause of its own.
EndCause causeOf(tls::PeerCertificate::Reason reason) noexcept;

/// What is wrong with it, the worst first, with commas between: "it is signed by itself alone, it expired on DATE".
String flawsInWords(const tls::PeerCertificate& certificate);
/// The same for a certificate that nobody has seen; empty for a cause that is none of a certificate.
String flawInWords(EndCause cause);

/// Whose it is, by whom, from when until when, and its fingerprint, in one line.
String summaryOf(const tls::PeerCertificate& certificate);

/// The facts for people who compare them, "NAME: VALUE" each, with at most 20 of its names. Those of what was trusted
/// instead stand at the end.
Strings linesOf(const tls::PeerCertificate& certificate);

/// "2026-11-21 10:00:00 UTC"; "an unknown time" for -1.
String timeInWords(std::time_t seconds);

}  // namespace tessel
