// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "apps/nebrix-demo-gateway/certificates.h"
#include "apps/nebrix-demo-gateway/faults.h"
#include "apps/nebrix-sign/componentkind.h"

namespace tessel::gateway {

/// The kinds of component that a session can run.
using ComponentType = sign::ComponentKind;

inline constexpr std::array kComponentTypes{ComponentType::PluginDll, ComponentType::PluginDllNoTunnel,
                                            ComponentType::Hostchecker};

/// The type's name as the configuration document writes it.
inline std::string_view typeName(ComponentType type) noexcept { return sign::componentKindName(type); }

/// A tunnel's server that is started beside the gateway, see TunnelServer.
struct TunnelOptions {
    unsigned port = 1194;
    bool tcp = false;
    /// The ticket that it accepts; empty: the one of the configuration.
    std::string ticket;
};

/// What the gateway is and hands out. Every secret in here is made up for demonstrations: nothing of it opens anything.
struct GatewayOptions {
    /// The loopback address to listen on, "127.0.0.1" or "::1".
    std::string address = "127.0.0.1";
    /// 0 takes a free one.
    unsigned port = 0;
    /// What clients must send as cookie "Nebrix-Id"; empty: random at each start.
    std::string clientId;
    /// The library of each type. A type without one is announced all the same, its archive is missing (404).
    std::map<ComponentType, std::string> libraries;
    /// PEM file of the private key that signs the libraries; empty: the development key.
    std::string keyPath;
    /// The components' version.
    std::string version = "1.0.0";
    /// Each library has a signature file beside it, which is served as it is and tells the version.
    bool signedAlready = false;

    /// "HOST:PORT" that components are to be fetched from and host checks sent to, such as another gateway with the
    /// same client identifier; empty for this one.
    std::string elsewhere;

    std::string organisation = "Demonstration";
    std::string login = "demo";
    std::string ticket = "demo-ticket";
    std::string sessionId = "demo-session";
    std::string certificatePassword = "demo-password";
    /// Where the tunnel leads to; empty: this gateway's own authority, which has no tunnel.
    std::string server;
    /// Names that the tunnel's server may bear in its certificate.
    std::vector<std::string> serverNames;
    /// The folder of the tunnel's certificates, see certificatesOf(); empty: these, or made-up ones.
    std::string certificatesFolder;
    std::optional<TunnelCertificates> certificates;
    /// For the program: DemoGateway starts no tunnel.
    std::optional<TunnelOptions> tunnel;
    /// The published resource that the plug-in without tunnel opens: a plain file name.
    std::string service = "welcome.txt";
    int safeType = 1;

    std::string hostCheckingRequest = "system kernel Linux\nrelease file /etc/os-release\nlibrary package libc6\n";
    /// Seconds between two host checks.
    unsigned hostCheckingTimer = 1;
    /// Posts of the host checker that are answered with "continue" true; the next one gets false.
    unsigned continuedPosts = 3;
    std::string hostCheckingInfo = "demo host check";

    Faults faults;
    /// Between two pieces of an answer, with Fault::Slow.
    std::chrono::milliseconds pause{250};
};

}  // namespace tessel::gateway
