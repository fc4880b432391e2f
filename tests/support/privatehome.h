// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/temporarydirectory.h"

namespace nebrix::test {

/// A home directory of the test's own, which HOME names for this process, and so for its children, while the object
/// lives (one at a time).
class PrivateHome {
public:
    PrivateHome();
    ~PrivateHome();

    [[nodiscard]] const std::string& path() const noexcept { return m_directory.path(); }
    /// The client's data directory, without a final "/". Not made here.
    [[nodiscard]] std::string data() const { return m_directory.path(".Nebrix"); }
    /// A path in the data directory.
    [[nodiscard]] std::string data(const std::string& name) const { return data() + "/" + name; }
    /// Writes the client's local configuration: the authorities whose certificates are not checked, and whatever else.
    void configure(const std::vector<std::string>& ignoredDomains, const std::string& more = "") const;

private:
    TemporaryDirectory m_directory;
    std::string m_formerHome = std::getenv("HOME") != nullptr ? std::getenv("HOME") : "/";
    std::filesystem::path m_formerDirectory = std::filesystem::current_path();
};

}  // namespace nebrix::test
