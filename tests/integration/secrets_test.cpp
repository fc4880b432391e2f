// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/integration/session.h"

namespace nebrix::test {
namespace {

namespace fs = std::filesystem;

/// The argument lists of every process that can be read.
std::string argumentLists() {
    std::string all;
    for (const fs::directory_entry& process : fs::directory_iterator("/proc")) {
        std::ifstream list(process.path() / "cmdline", std::ios::binary);
        all.append(std::istreambuf_iterator<char>(list), {});
        all += '\n';
    }
    return all;
}

std::string names(const std::map<std::string, std::string>& files) {
    std::string all;
    for (const auto& [name, content] : files) {
        all += name + '\n';
    }
    return all;
}

/// Plants a secret of each kind and looks for it wherever others can look, in a session of each type.
TEST(Secrets, areFoundNowhereInASessionOfAnyType) {
    const std::string planted = "planted-" + std::to_string(::getpid());  // what other tests plant is theirs to find
    GatewayOptions options = recordingComponents();
    options.clientId = planted + "-identifier";
    options.ticket = planted + "-ticket";
    options.sessionId = options.ticket + "-planted";
    options.certificatePassword = planted + "-certificate-password";
    Session session(options);
    session.home().configure({session.gateway().authority()}, "<proxy><credentials><login>" + planted +
                                                                  "-login</login><password>" + planted +
                                                                  "-proxy-password</password></credentials></proxy>");
    // What a plug-in notes for itself is logged, without them.
    const std::string notes = options.sessionId + " " + options.certificatePassword + "\nof " + options.clientId +
                              ", " + planted + "-proxy-password";
    setenv("NEBRIX_TEST_NOTES", notes.c_str(), 1);
    for (const ComponentType type : tessel::gateway::kComponentTypes) {
        const bool tunnel = type == ComponentType::PluginDll;
        ChildProcess client(session.client(type));
        if (tunnel) {
            while (session.calls().find("DllGetErrors2") == std::string::npos) {
                ASSERT_FALSE(client.wait(ChildProcess::Milliseconds(20))) << client.errors();
            }
            EXPECT_NE(session.calls().find(options.ticket), std::string::npos) << "the component gets it";
            EXPECT_EQ(argumentLists().find(planted), std::string::npos);
            client.signal(SIGTERM);
        }
        ASSERT_EQ(client.wait(), 0) << client.errors();
        for (const std::string& place :
             {client.output(), client.errors(), Session::log().text(), names(session.files())}) {
            EXPECT_EQ(place.find(planted), std::string::npos) << place;
        }
        EXPECT_EQ(Session::log().text().find("Component.notes of ***, ***\n") != std::string::npos, tunnel);
    }
    unsetenv("NEBRIX_TEST_NOTES");
}

}  // namespace
}  // namespace nebrix::test
