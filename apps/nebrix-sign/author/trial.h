// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iosfwd>
#include <optional>
#include <string>

#include "apps/nebrix-sign/componentkind.h"
#include "apps/nebrix-sign/errors.h"

/// Components in a gateway of this process, for their authors. The gateway is the demonstration's (DemoGateway), on the
/// loopback interface.
namespace tessel::sign {

struct Trial {
    /// The library's path.
    std::string component;
    /// Nothing: what the library's entries tell.
    std::optional<ComponentKind> kind;
    /// PEM file of the private key to sign with; empty: the development key.
    std::string privateKey;
    /// The library has a signature file, which is used as it is.
    bool isSigned = false;
    std::string version = "1.0.0";
    /// The client's path; empty: the installed one.
    std::string client;
    /// The client's home directory; empty: one that goes with the trial.
    std::string home;
    /// Whether the component's process waits for a debugger.
    bool debugger = false;
    /// What a host checker is asked; empty: the demonstration's question.
    std::string request;
    /// After so many the session is asked to end; 0: never.
    unsigned seconds = 0;
};

/// Runs the headless client in a session with the library, whose lines go to standard output, and tells what the
/// gateway was asked and what the component said. SIGINT and the like ask the session to end. Returns the client's exit
/// status. Raises ESign, before anything runs, where the library is none of the kind or the client does not trust the
/// key.
int runTrial(const Trial& trial, std::ostream& out);

struct Service {
    /// Where libraries lie that have a signature file beside them, at most one of each type.
    std::string directory;
    /// 0: a free one.
    unsigned port = 0;
    /// The users' identifier; empty: random.
    std::string clientId;
};

/// Serves the signed components of a directory until SIGINT or SIGTERM. Raises ESign when it has none, or several of
/// one type.
void serveDirectory(const Service& service, std::ostream& out);

}  // namespace tessel::sign
