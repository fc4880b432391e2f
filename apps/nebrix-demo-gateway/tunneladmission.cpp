// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-demo-gateway/tunneladmission.h"

#include <algorithm>

namespace tessel::gateway {

namespace {

constexpr std::string_view kEnvironment = ">CLIENT:ENV,";

/// Takes the prefix from the line, if that begins with it.
bool takePrefix(std::string_view& line, std::string_view prefix) {
    const bool there = line.starts_with(prefix);
    line.remove_prefix(there ? prefix.size() : 0);
    return there;
}

/// As OpenVPN passes peer information on: what is not printable ASCII, or a blank, becomes "_".
std::string asPeerInformation(std::string text) {
    std::ranges::replace_if(
        text, [](char c) { return c <= ' ' || c >= 0x7F; }, '_');
    return text;
}

}  // namespace

TunnelAdmission::Answer TunnelAdmission::take(std::string_view line) {
    if (takePrefix(line, ">HOLD:")) {
        return {.commands = "state on\nhold release\n", .news = {}};
    }
    if (takePrefix(line, ">FATAL:")) {
        m_failure = line;
    } else if (takePrefix(line, ">STATE:")) {
        m_ready = m_ready || line.find(",CONNECTED,") != std::string_view::npos;
    } else if (takePrefix(line, ">CLIENT:CONNECT,") || takePrefix(line, ">CLIENT:REAUTH,")) {
        m_client = line;
        std::ranges::replace(m_client, ',', ' ');
        m_environment.clear();
    } else if (!m_client.empty() && takePrefix(line, kEnvironment)) {
        const auto equals = line.find('=');
        if (equals != std::string_view::npos) {
            m_environment[std::string(line.substr(0, equals))] = line.substr(equals + 1);
        } else if (line == "END") {
            Answer answer = judge();
            m_client.clear();
            return answer;
        }
    }
    return {};
}

std::string TunnelAdmission::value(const std::string& name) const {
    const auto found = m_environment.find(name);
    return found == m_environment.end() ? std::string() : found->second;
}

TunnelAdmission::Answer TunnelAdmission::judge() const {
    std::string told;
    std::string wrong;
    if (value("username") != m_secrets.login || value("password") != m_secrets.ticket) {
        wrong = "wrong login or ticket";
    }
    const std::tuple<const char*, const char*, const std::string&> facts[] = {
        {"UV_ORGANIZATION", "organisation", m_secrets.organisation}, {"UV_SESSION", "session id", m_secrets.sessionId}};
    for (const auto& [name, words, expected] : facts) {
        if (!m_environment.contains(name)) {
            told += std::string(", no ") + words;
        } else if (value(name) == asPeerInformation(expected)) {
            told += std::string(", right ") + words;
        } else if (wrong.empty()) {
            wrong = std::string("wrong ") + words;
        }
    }
    if (!wrong.empty()) {
        return {.commands = "client-deny " + m_client + " \"" + wrong + "\" \"" + wrong + "\"\n",
                .news = "refused: " + wrong};
    }
    return {.commands = "client-auth-nt " + m_client + "\n", .news = "accepted: right login and ticket" + told};
}

}  // namespace tessel::gateway
