// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-demo-gateway/hiddenpage.h"

#include <httplib.h>

#include <chrono>

#include "apps/nebrix-demo-gateway/errors.h"

namespace tessel::gateway {

HiddenPage::HiddenPage(const std::string& address) : m_server(std::make_unique<httplib::Server>()) {
    constexpr int kPort = 80;
    m_server->Get("/", [](const httplib::Request& request, httplib::Response& response) {
        response.set_content("This page came through the tunnel, to " + request.remote_addr + ".\n", "text/plain");
    });
    m_server->set_keep_alive_max_count(1);  // the end would wait for whoever went away without a word
    if (!m_server->bind_to_port(address, kPort)) {
        raise<EGateway>("cannot serve a page behind the tunnel", sites::kNoTunnel);
    }
}

HiddenPage::~HiddenPage() {
    if (m_thread.joinable()) {
        m_server->stop();
        m_thread.join();
    }
}

void HiddenPage::start() {
    m_thread = std::thread([this] { m_server->listen_after_bind(); });
    // As in DemoGateway: stop() is heard only once the accepting loop runs.
    while (!m_server->is_running()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

}  // namespace tessel::gateway
