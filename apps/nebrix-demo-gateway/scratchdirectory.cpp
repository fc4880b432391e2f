#include "apps/nebrix-demo-gateway/scratchdirectory.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "apps/nebrix-demo-gateway/errors.h"

namespace tessel::gateway {

ScratchDirectory::ScratchDirectory()
    : m_path((std::filesystem::temp_directory_path() / "nebrix-demo-gateway-XXXXXX").string()) {
    if (::mkdtemp(m_path.data()) == nullptr) {
        raise<EGateway>("cannot make a temporary directory", sites::kNoScratch);
    }
}

ScratchDirectory::~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

}  // namespace tessel::gateway
