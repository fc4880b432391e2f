// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace tessel::sign {

/// A new directory below the system's one for temporary files, for its owner alone; removed with what is in it.
class ScratchDirectory {
public:
    /// Its name begins with this one. Raises ESign.
    explicit ScratchDirectory(const std::string& name);
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;
    ~ScratchDirectory();

    [[nodiscard]] const std::string& path() const noexcept { return m_path; }
    [[nodiscard]] std::string path(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

}  // namespace tessel::sign
