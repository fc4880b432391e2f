// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "apps/nebrixclient/account.h"

namespace tessel::view {

/// How a session ended, as the windows say it: a key of the catalog, and what goes into its "%s".
struct EndText {
    const char* key = "";          ///< "" where the account has nothing to add
    std::optional<String> fill{};  ///< without it the key has no "%s"
};

/// What others chose, as the windows show it: forLabel() of at most 200 characters. The log has the whole.
String shown(const String& text);

/// Why the gateway could not be asked, and what to do next: the message of the connection-error dialog. Never empty.
EndText connectionErrorText(const SessionEnd& end);

/// Why the session failed: the sentence below the message that ends it. Empty for an end that somebody wanted and for
/// one that no words are known for.
///
/// What others chose of it (a gateway's words, a path) is as shown() gives it.
EndText failureText(const SessionEnd& end);

}  // namespace tessel::view
