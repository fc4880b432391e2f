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
/// Options with the reference components.
GatewayOptions referenceComponents();

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
    /// Environment of the client.
    [[nodiscard]] ChildProcess::Options environment() const;
    /// Runs a session to its end.
    [[nodiscard]] Finished run(ComponentType type) const { return runProgram(client(type), environment()); }

    /// Whether a recording component was loaded since the last clearMarks().
    [[nodiscard]] bool loaded() const;
    /// The calls it got so far, one line each.
    [[nodiscard]] std::string calls() const;
    void clearMarks() const;

    /// Every file below the client's data directory, with its content.
    [[nodiscard]] std::map<std::string, std::string> files() const;
    /// The files whose names end so.
    [[nodiscard]] std::vector<std::string> filesNamed(const std::string& ending) const;

private:
    PrivateHome m_home;
    TemporaryDirectory m_marks;
    std::unique_ptr<DemoGateway> m_gateway;
};

}  // namespace nebrix::test
