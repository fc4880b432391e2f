// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace tessel::gateway {

/// What a tunnel's server asks of those who come.
struct TunnelSecrets {
    std::string login;
    std::string ticket;
    std::string organisation;
    std::string sessionId;
};

/// One side of the management interface of an OpenVPN server that was started with --management-hold and
/// --management-client-auth, as Debian's management-notes.txt describes it: lets the server go to work, and judges its
/// clients. Login and ticket must be right. Organisation and session id, which clients may tell as peer information
/// (UV_ORGANIZATION, UV_SESSION), must not be others.
///
/// Reads and writes nothing; used by one thread.
class TunnelAdmission {
public:
    explicit TunnelAdmission(TunnelSecrets secrets) : m_secrets(std::move(secrets)) {}

    struct Answer {
        std::string commands;  // whole lines for the server, or empty
        std::string news;      // for whoever watches, without a secret, or empty
    };
    /// A line of the server, without its end.
    Answer take(std::string_view line);

    /// Whether the server has begun to serve.
    [[nodiscard]] bool ready() const noexcept { return m_ready; }
    /// Why it gave up; empty as long as it did not.
    [[nodiscard]] const std::string& failure() const noexcept { return m_failure; }

private:
    [[nodiscard]] Answer judge() const;
    [[nodiscard]] std::string value(const std::string& name) const;

    TunnelSecrets m_secrets;
    bool m_ready = false;
    std::string m_failure;
    std::string m_client;  // client and key number, apart by a blank; empty while there is nobody to judge
    std::map<std::string, std::string> m_environment;  // what the server tells of the client
};

}  // namespace tessel::gateway
