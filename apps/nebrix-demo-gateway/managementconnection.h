// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "libs/base/descriptor.h"

namespace tessel::gateway {

/// Where an OpenVPN process connects to as --management-client: 127.0.0.1 of the network that the constructor's thread
/// is in. That network must be one that nobody else has programs in. Takes one connection.
///
/// Used by one thread at a time.
class ManagementConnection {
public:
    using Milliseconds = std::chrono::milliseconds;

    /// Listens. Raises EGateway.
    ManagementConnection();

    [[nodiscard]] unsigned port() const noexcept { return m_port; }
    /// Waits for the connection and listens no longer; false when none came so long, or the descriptor of a process
    /// said before that it ended.
    bool accept(int ended, Milliseconds limit);
    /// The next line without its end; nothing when the connection is over, or the line longer than any of OpenVPN's
    /// (64 KiB), or when none came so long. Without a limit it waits.
    std::optional<std::string> readLine(std::optional<Milliseconds> limit = {});
    /// False when the connection is over.
    bool write(const std::string& text);

private:
    Descriptor m_listener;
    Descriptor m_connection;
    unsigned m_port = 0;
    std::string m_read;  // what came behind the last line
};

}  // namespace tessel::gateway
