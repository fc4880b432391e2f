// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/descriptor.h"

namespace tessel {

/// The download callback that components get: asks the client over the second connection and waits for its answer.
///
/// Components are never unloaded and may call from any of their threads to the end of the process, so what it uses is
/// never destroyed. Concurrent calls wait for each other.
class DownloadClient {
public:
    /// Once, before any component is loaded.
    static void use(Descriptor downloads);
    /// False for everything but a complete download; lets no exception out.
    static bool downloadFileTo(const char* url, const char* localPath) noexcept;
};

}  // namespace tessel
