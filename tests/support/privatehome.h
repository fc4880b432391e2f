#pragma once

#include <string>
#include <vector>

#include "tests/support/childprocess.h"
#include "tests/support/temporarydirectory.h"

namespace nebrix::test {

/// A home directory of the test's own, which HOME names for this process while the object lives (one at a time).
class PrivateHome {
public:
    PrivateHome();
    PrivateHome(const PrivateHome&) = delete;
    PrivateHome& operator=(const PrivateHome&) = delete;
    ~PrivateHome();

    [[nodiscard]] const std::string& path() const noexcept { return m_directory.path(); }
    /// The client's data directory, without a final "/". Not made here.
    [[nodiscard]] std::string data() const { return m_directory.path(".Nebrix"); }
    /// A path in the data directory.
    [[nodiscard]] std::string data(const std::string& name) const { return data() + "/" + name; }
    /// Writes the client's local configuration: the authorities whose certificates are not checked, and the download
    /// switches.
    void configure(const std::vector<std::string>& ignoredDomains, bool download = true) const;
    /// What a child needs to run with this home and without proxies.
    [[nodiscard]] ChildProcess::Options forChild() const;

private:
    TemporaryDirectory m_directory;
    std::string m_formerHome;
    std::string m_formerDirectory;
};

}  // namespace nebrix::test
