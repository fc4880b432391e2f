// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace tessel {

/// The client's version as the gateway and the user agent see it.
inline constexpr const char* kClientVersion = "8.9.0.35";

/// Where the client's log goes unless a test names another file.
inline constexpr const char* kLogFile = "/tmp/nebrixclient.log";

}  // namespace tessel
