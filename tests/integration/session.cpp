// SPDX-License-Identifier: Apache-2.0
#include "tests/integration/session.h"

#include <filesystem>

namespace nebrix::test {

namespace fs = std::filesystem;

GatewayOptions recordingComponents() {
    GatewayOptions options;
    const std::string plugin = NEBRIX_TEST_COMPONENTS "/libtest-plugin.so";
    options.libraries = {{ComponentType::PluginDll, plugin},
                         {ComponentType::PluginDllNoTunnel, plugin},
                         {ComponentType::Hostchecker, NEBRIX_TEST_COMPONENTS "/libtest-hostchecker.so"}};
    options.hostCheckingTimer = 0;
    options.continuedPosts = 0;
    return options;
}

Session::Session(GatewayOptions options) {
    setenv("NEBRIX_TEST_MARK", m_home.data("hostchecker/loaded").c_str(), 1);
    setenv("NEBRIX_TEST_CALLS", m_home.data("hostchecker/calls").c_str(), 1);
    replaceGateway(std::move(options));
}

void Session::replaceGateway(GatewayOptions options) {
    m_gateway.reset();
    m_gateway = std::make_unique<DemoGateway>(std::move(options));
    m_gateway->start();
    m_home.configure({m_gateway->authority()});
}

std::vector<std::string> Session::client(ComponentType type, std::vector<std::string> words) const {
    words.insert(words.begin(), NEBRIX_TEST_BIN "/nebrixclient-cli");
    words.push_back(m_gateway->mediation(type));
    return words;
}

Finished Session::run(ComponentType type) const {
    fs::remove(m_home.data("hostchecker/loaded"));
    fs::remove(m_home.data("hostchecker/calls"));
    return runProgram(client(type));
}

bool Session::loaded() const { return fs::exists(m_home.data("hostchecker/loaded")); }

std::string Session::calls() const {
    return fs::exists(m_home.data("hostchecker/calls")) ? readFile(m_home.data("hostchecker/calls")) : std::string();
}

bool Session::waitForCall(const ChildProcess& client, const std::string& entry) const {
    while (calls().find(entry) == std::string::npos) {
        if (client.wait(ChildProcess::Milliseconds(5)).has_value()) {
            return false;
        }
    }
    return true;
}

std::map<std::string, std::string> Session::files() const {
    std::map<std::string, std::string> result;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(m_home.path())) {
        const std::string name = fs::relative(entry.path(), m_home.path()).string();
        if (name == ".Nebrix/hostchecker/calls" || name == ".Nebrix/hostchecker/loaded") {
            continue;  // the recorders' own
        }
        result[name] = entry.is_regular_file() ? readFile(entry.path().string()) : std::string();
    }
    return result;
}

}  // namespace nebrix::test
