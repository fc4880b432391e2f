#include "apps/nebrixclient/filedigest.h"

#include <array>

#include "apps/nebrixclient/sites.h"
#include "libs/base/file.h"
#include "libs/base/log.h"

namespace tessel {

Memory digestFile(const String& path, tls::EVPDigest& digest) {
    constexpr unsigned kBlock = 1024;
    File file;
    if (!file.open(path, File::kIn)) {
        log(LogCategory::Error, "File", "digest", "cannot open " + path);
        raise<EFile>("EFile", sites::kSignedDllRead);
    }
    std::array<char, kBlock> block;
    while (const unsigned count = file.read(block.data(), kBlock)) {
        digest.feed(block.data(), count);
    }
    return digest.result();
}

}  // namespace tessel
