// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-demo-gateway/managementconnection.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>

#include "apps/nebrix-demo-gateway/errors.h"

namespace tessel::gateway {

namespace {

constexpr std::size_t kLongestLine = 65536;

}  // namespace

ManagementConnection::ManagementConnection() : m_listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const place = reinterpret_cast<sockaddr*>(&address);
    if (!m_listener.valid() || ::bind(m_listener.get(), place, length) != 0 || ::listen(m_listener.get(), 1) != 0 ||
        ::getsockname(m_listener.get(), place, &length) != 0) {
        raise<EGateway>("cannot listen for the tunnel's server", sites::kNoTunnel);
    }
    m_port = ntohs(address.sin_port);
}

bool ManagementConnection::accept(int ended, Milliseconds limit) {
    std::array<pollfd, 2> entries{{{m_listener.get(), POLLIN, 0}, {ended, POLLIN, 0}}};
    if (::poll(entries.data(), entries.size(), static_cast<int>(limit.count())) > 0 && entries[0].revents != 0) {
        m_connection = Descriptor(::accept4(m_listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
    }
    m_listener.close();
    return m_connection.valid();
}

std::optional<std::string> ManagementConnection::readLine(std::optional<Milliseconds> limit) {
    for (;;) {
        const auto end = m_read.find('\n');
        if (end != std::string::npos) {
            std::string line = m_read.substr(0, end);
            m_read.erase(0, end + 1);
            if (line.ends_with('\r')) {
                line.pop_back();
            }
            return line;
        }
        pollfd entry{m_connection.get(), POLLIN, 0};
        const int ready = ::poll(&entry, 1, limit ? static_cast<int>(limit->count()) : -1);
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        std::array<char, 4096> block;
        const ssize_t count = ready > 0 ? ::recv(m_connection.get(), block.data(), block.size(), 0) : 0;
        if (count <= 0 || m_read.size() > kLongestLine) {
            return {};
        }
        m_read.append(block.data(), static_cast<std::size_t>(count));
    }
}

bool ManagementConnection::write(const std::string& text) {
    return ::send(m_connection.get(), text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
}

}  // namespace tessel::gateway
