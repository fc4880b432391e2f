// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "apps/nebrix-demo-gateway/demogateway.h"
#include "tests/support/childprocess.h"
#include "tests/support/logfile.h"
#include "tests/support/privatehome.h"

namespace nebrix::test {

using tessel::gateway::ComponentType;
using tessel::gateway::DemoGateway;
using tessel::gateway::Fault;
using tessel::gateway::GatewayOptions;

/// Options with the recording components, which say in files that they were loaded and called.
GatewayOptions recordingComponents();

/// A gateway in this process and a home for the headless client, whose sessions run as child processes.
class Session {
public:
    explicit Session(GatewayOptions options = recordingComponents());

    [[nodiscard]] DemoGateway& gateway() { return *m_gateway; }
    /// Ends the gateway and starts another one, which the client then trusts alone. Unless a port is asked for it is
    /// another one.
    void replaceGateway(GatewayOptions options);
    [[nodiscard]] const PrivateHome& home() const { return m_home; }
    [[nodiscard]] static LogFile log() { return LogFile(); }

    /// The command line that opens a session of the type; further words go in front of the mediation string.
    [[nodiscard]] std::vector<std::string> client(ComponentType type, std::vector<std::string> words = {}) const;
    /// Runs a session to its end, after forgetting what the components of earlier ones recorded.
    [[nodiscard]] Finished run(ComponentType type = ComponentType::Hostchecker) const;

    /// Whether a recording component was loaded.
    [[nodiscard]] bool loaded() const;
    /// The calls it got so far, one line each.
    [[nodiscard]] std::string calls() const;
    /// Waits until it got this one; false when the client ends before.
    [[nodiscard]] bool waitForCall(const ChildProcess& client, const std::string& entry) const;

    /// Everything below the client's home: the path in it, and the content of what is a file.
    [[nodiscard]] std::map<std::string, std::string> files() const;

private:
    PrivateHome m_home;
    std::unique_ptr<DemoGateway> m_gateway;
};

}  // namespace nebrix::test
