// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-demo-gateway/tunnelserver.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <utility>

#include "apps/nebrix-demo-gateway/errors.h"
#include "libs/base/platform.h"

namespace tessel::gateway {

namespace {

constexpr const char* kServerName = "tunnel.nebrix.example";
constexpr std::chrono::seconds kPatience{10};

std::string inlineFile(const std::string& name, const std::string& content) {
    return "<" + name + ">\n" + content + "</" + name + ">\n";
}

/// The reading end of a pipe that holds the text, which must be short enough for it (64 KiB).
Descriptor pipeWith(std::string_view text) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        raise<EGateway>("cannot make a pipe for the tunnel's server", sites::kNoTunnel);
    }
    const Descriptor writing(ends[1]);
    Descriptor reading(ends[0]);
    platform::writeWithin(writing.get(), text, 0);
    return reading;
}

}  // namespace

TunnelServer::TunnelServer(const GatewayOptions& options, Listener listener)
    : m_options(*options.tunnel),
      m_pki(makePki(kServerName, options.certificatePassword)),
      m_cable(m_network),
      m_admission({options.login, m_options.ticket.empty() ? options.ticket : m_options.ticket, options.organisation,
                   options.sessionId}),
      m_program(startProgram()) {
    try {
        waitUntilReady();
        m_page->start();
        m_thread = std::thread([this, listener = std::move(listener)] { converse(listener); });
    } catch (...) {
        platform::killProcess(m_program.id);
        platform::reapProcess(m_program.id);
        throw;
    }
}

TunnelServer::~TunnelServer() {
    m_ending = true;
    platform::killProcess(m_program.id);
    m_thread.join();
    platform::reapProcess(m_program.id);
}

std::string TunnelServer::server() const {
    return m_cable.farAddress() + ":" + std::to_string(m_options.port) + (m_options.tcp ? "/tcp" : "/udp");
}

void TunnelServer::fill(GatewayOptions& options) const {
    if (options.server.empty()) {
        options.server = server();
    }
    if (options.serverNames.empty()) {
        options.serverNames = {kServerName};
    }
    options.certificates = m_pki.served;
}

/// The words of openvpn(8). Every client has the same certificate; whoever is silent for five seconds is gone.
std::string TunnelServer::configuration() const {
    return "dev tun\ntopology subnet\nserver " + m_cable.address(88, 0) + " 255.255.255.0\nlocal " +
           m_cable.farAddress() + "\nport " + std::to_string(m_options.port) + "\nproto " +
           (m_options.tcp ? "tcp4-server" : "udp4\nexplicit-exit-notify 1") +
           "\ndh none\nremote-cert-tls client\nduplicate-cn\nkeepalive 1 5\npush \"route " + m_cable.hiddenAddress() +
           " 255.255.255.255\"\npush \"dhcp-option DNS " + m_cable.hiddenAddress() +
           "\"\nverb 0\nmanagement 127.0.0.1 " + std::to_string(m_management->port()) +
           "\nmanagement-client\nmanagement-hold\nmanagement-client-auth\n" + inlineFile("ca", m_pki.authorityPem) +
           inlineFile("cert", m_pki.serverPem) + inlineFile("key", m_pki.serverKeyPem);
}

DependentProgram TunnelServer::startProgram() {
    const NetworkNamespace::Inside inside(m_network);
    m_management = std::make_unique<ManagementConnection>();
    m_page = std::make_unique<HiddenPage>(m_cable.hiddenAddress());
    const Descriptor words = pipeWith(configuration());
    return startDependent(kOpenvpn, {"--config", "/dev/fd/3"}, {words.get()});
}

void TunnelServer::waitUntilReady() {
    bool there = m_management->accept(m_program.ended.get(), kPatience);
    while (there && !m_admission.ready() && m_admission.failure().empty()) {
        const auto line = m_management->readLine(kPatience);
        there = line.has_value() && m_management->write(m_admission.take(*line).commands);
    }
    if (!m_admission.ready()) {
        const std::string why = m_admission.failure().empty() ? "" : ": " + m_admission.failure();
        raise<EGateway>(String::copy("the tunnel's server (openvpn) did not start" + why), sites::kNoTunnel);
    }
}

void TunnelServer::converse(const Listener& listener) {
    while (const auto line = m_management->readLine()) {
        const TunnelAdmission::Answer answer = m_admission.take(*line);
        m_management->write(answer.commands);
        if (!answer.news.empty()) {
            listener(answer.news);
        }
    }
    if (!m_ending) {
        listener("the server has ended");
    }
}

}  // namespace tessel::gateway
