#include "tests/support/privatehome.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace nebrix::test {

PrivateHome::PrivateHome() : m_formerDirectory(std::filesystem::current_path().string()) {
    if (const char* home = std::getenv("HOME")) {
        m_formerHome = home;
    }
    ::setenv("HOME", m_directory.path().c_str(), 1);
}

PrivateHome::~PrivateHome() {
    // The client makes its data directory the working directory, which is about to go.
    std::error_code ignored;
    std::filesystem::current_path(m_formerDirectory, ignored);
    ::setenv("HOME", m_formerHome.c_str(), 1);
}

void PrivateHome::configure(const std::vector<std::string>& ignoredDomains, bool download) const {
    const std::string flag = download ? "true" : "false";
    std::string text = "<nebrixclient><sslcertignoredomains>";
    for (const std::string& domain : ignoredDomains) {
        text += "<domains>" + domain + "</domains>";
    }
    text += "</sslcertignoredomains><hostcheckerdll><download>" + flag +
            "</download></hostcheckerdll><plugindll><download>" + flag + "</download></plugindll></nebrixclient>";
    m_directory.write(".Nebrix/nebrixclient.xml", text);
}

ChildProcess::Options PrivateHome::forChild() const {
    ChildProcess::Options options;
    options.environment["HOME"] = path();
    for (const char* name :
         {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY", "no_proxy", "NO_PROXY"}) {
        options.environment[name] = "";
    }
    return options;
}

}  // namespace nebrix::test
