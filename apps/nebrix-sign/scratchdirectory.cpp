// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-sign/scratchdirectory.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "apps/nebrix-sign/errors.h"

namespace tessel::sign {

ScratchDirectory::ScratchDirectory(const std::string& name)
    : m_path((std::filesystem::temp_directory_path() / (name + "-XXXXXX")).string()) {
    if (::mkdtemp(m_path.data()) == nullptr) {
        raise<ESign>("cannot make a temporary directory", sites::kNoScratch);
    }
}

ScratchDirectory::~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

}  // namespace tessel::sign
