// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/filedigest.h"

#include <array>
#include <cerrno>

#include "apps/nebrixclient/sites.h"
#include "libs/base/file.h"
#include "libs/base/log.h"
#include "libs/base/platform.h"

namespace tessel {

Memory digestFile(const String& path, tls::EVPDigest& digest) {
    constexpr unsigned kBlock = 1024;
    File file;
    if (!file.open(path, File::kIn)) {
        const int systemError = errno;
        log(LogCategory::Error, "File", "digest", "cannot open " + path);
        raise<EFile>("EFile", sites::kSignedDllRead,
                     {.subject = path, .words = platform::errorText(systemError), .systemError = systemError});
    }
    std::array<char, kBlock> block;
    while (const unsigned count = file.read(block.data(), kBlock)) {
        digest.feed(block.data(), count);
    }
    return digest.result();
}

}  // namespace tessel
