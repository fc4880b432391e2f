// SPDX-License-Identifier: Apache-2.0
#include "tests/support/privatehome.h"

namespace nebrix::test {

PrivateHome::PrivateHome() { ::setenv("HOME", path().c_str(), 1); }

PrivateHome::~PrivateHome() {
    // The client makes its data directory the working directory, which is about to go.
    std::filesystem::current_path(m_formerDirectory);
    ::setenv("HOME", m_formerHome.c_str(), 1);
}

void PrivateHome::configure(const std::vector<std::string>& ignoredDomains, const std::string& more) const {
    std::string text = "<nebrixclient><sslcertignoredomains>";
    for (const std::string& domain : ignoredDomains) {
        text += "<domains>" + domain + "</domains>";
    }
    m_directory.write(".Nebrix/nebrixclient.xml", text + "</sslcertignoredomains>" + more + "</nebrixclient>");
}

}  // namespace nebrix::test
