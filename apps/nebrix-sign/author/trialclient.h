// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <csignal>
#include <string>
#include <vector>

#include "apps/nebrix-sign/errors.h"

/// The client that a trial runs.
namespace tessel::sign {

/// SIGINT, SIGTERM, SIGHUP and SIGCHLD are kept back from the calling thread, and from those that it starts meanwhile,
/// as long as this object lives: wait() takes them.
class HeldSignals {
public:
    HeldSignals();
    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;
    ~HeldSignals();

    /// The next of them; 0 after so many seconds, if that is not 0.
    [[nodiscard]] int wait(unsigned seconds) const;

private:
    sigset_t m_held{};
    sigset_t m_former{};
};

/// The path of a client: the one that is named, by a path or as found in PATH, else nebrixclient-cli beside this
/// program or in PATH. Raises ESign when there is none.
std::string findClient(const std::string& named);

/// Whether the client verifies components against the development key, by what it says itself. Raises ESign when it
/// does not say so.
bool trustsDevelopmentKey(const HeldSignals& signals, const std::string& client);

/// Runs the client with these options and this home directory until it ends: its exit status, or 128 and the signal
/// that ended it. The link, which is a secret, goes to its standard input. It is asked to end by the signals that this
/// process gets, and after so many seconds, if that is not 0; by SIGTERM, too, when the calling thread ends. What it
/// prints goes to our standard output. Raises ESign when it cannot be started.
int runClient(const HeldSignals& signals, const std::string& client, std::vector<std::string> arguments,
              const std::string& link, const std::string& home, unsigned seconds);

}  // namespace tessel::sign
