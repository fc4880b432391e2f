// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "apps/nebrixclient/localsettings.h"
#include "apps/nebrixclient/settingsfile.h"
#include "libs/base/platform.h"
#include "libs/http/proxyroute.h"

namespace tessel {

/// Where settings that hold for every user lie, and who alone may have written them.
struct ManagedFile {
    String path = platform::managedSettingsPath();
    unsigned owner = 0;  // a user's number
};

/// What an administrator has settled for every user of the machine. A plain value; without a file, nothing.
struct ManagedSettings {
    static constexpr std::size_t kLongest = 64 * 1024;  // bytes

    String path{};  ///< of the file that says so; empty without one
    bool refuseExceptions = false;
    bool refuseOlder = false;
    TlsFiles tls{};
    std::optional<ProxyRoute> route{};  ///< every request's
    Strings keys{};                     ///< what the file settles, as "certificates/exceptions"

    /// Raises ESettingsFile, after an error in the log, for a file that somebody else may have written, that cannot be
    /// read, is damaged, or says anything that is not understood: what an administrator has forbidden must not be
    /// allowed by a slip. A file that is not there settles nothing.
    static ManagedSettings read(const ManagedFile& file);
    /// What holds where the file cannot be used.
    static ManagedSettings strictest(const String& path) {
        return {.path = path, .refuseExceptions = true, .refuseOlder = true};
    }
};

}  // namespace tessel
