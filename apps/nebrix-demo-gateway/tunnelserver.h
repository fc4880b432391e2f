// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "apps/nebrix-demo-gateway/hiddenpage.h"
#include "apps/nebrix-demo-gateway/managementconnection.h"
#include "apps/nebrix-demo-gateway/networknamespace.h"
#include "apps/nebrix-demo-gateway/options.h"
#include "apps/nebrix-demo-gateway/pki.h"
#include "apps/nebrix-demo-gateway/tunneladmission.h"

namespace tessel::gateway {

/// A real OpenVPN server, with certificates of its own, in a network namespace that a cable joins to this network, and
/// a page that is reached through the tunnel alone. It gives its clients a route to the page's address, which is also
/// the name server that it names. Whoever comes must have a certificate, the login and the ticket, see TunnelAdmission.
///
/// Nothing of it is in a file or in a program's arguments or environment but addresses, and nothing outlives the
/// process, however that ends: the server is killed with it, and with the server go the namespace and the cable.
/// Several processes may have one at once.
///
/// Made and destroyed by one thread, which must be there as long as the object.
class TunnelServer {
public:
    /// Gets one line of what happens from then on, such as "accepted: ...", on a thread of the object.
    using Listener = std::function<void(const std::string&)>;

    /// Serves when it returns, after some hundredths of a second. Login, ticket, organisation, session id and the
    /// certificate's password are those of the options, whose `tunnel` must be there. See missingForTunnels(). Raises
    /// EGateway or tls::ELibContext.
    TunnelServer(const GatewayOptions& options, Listener listener);
    TunnelServer(const TunnelServer&) = delete;
    TunnelServer& operator=(const TunnelServer&) = delete;
    ~TunnelServer();

    /// Where clients find it, as the configuration's "server" says it.
    [[nodiscard]] std::string server() const;
    [[nodiscard]] std::string page() const { return "http://" + m_cable.hiddenAddress() + "/"; }
    /// The process of the server. SIGUSR1 restarts it, which its clients are told; SIGTERM ends it for good.
    [[nodiscard]] int process() const noexcept { return m_program.id; }
    /// Makes the gateway name this tunnel, its server's name and certificates, where the options name no others.
    void fill(GatewayOptions& options) const;

private:
    [[nodiscard]] std::string configuration() const;
    DependentProgram startProgram();
    void waitUntilReady();
    void converse(const Listener& listener);

    // Constant after construction.
    const TunnelOptions m_options;
    const TunnelPki m_pki;
    const NetworkNamespace m_network;
    const Cable m_cable;

    std::unique_ptr<ManagementConnection> m_management;  // m_thread's, once that runs
    std::unique_ptr<HiddenPage> m_page;
    TunnelAdmission m_admission;  // m_thread's, once that runs
    DependentProgram m_program;
    std::atomic<bool> m_ending = false;
    std::thread m_thread;
};

}  // namespace tessel::gateway
