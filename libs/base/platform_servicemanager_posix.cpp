// SPDX-License-Identifier: Apache-2.0
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "libs/base/platform.h"

namespace tessel::platform {

namespace {

constexpr const char* kVariable = "NOTIFY_SOCKET";
/// A manager that is busy is waited for so long, once for each message.
constexpr timeval kPatience{.tv_sec = 1, .tv_usec = 0};

struct Address {
    sockaddr_un name{};
    socklen_t size = 0;  // 0 for what is no address
};

/// "/PATH", or "@NAME" for a name outside the file system, where a 0 byte stands in place of the "@".
Address addressOf(std::string_view text) noexcept {
    Address address;
    if (text.size() < 2 || text.size() >= sizeof address.name.sun_path || (text[0] != '/' && text[0] != '@')) {
        return address;
    }
    address.name.sun_family = AF_UNIX;
    std::memcpy(address.name.sun_path, text.data(), text.size());
    address.size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + text.size());
    if (text[0] == '@') {
        address.name.sun_path[0] = '\0';  // as many bytes as there are, zeros included, are the name
    } else {
        ++address.size;  // the path's own end
    }
    return address;
}

}  // namespace

Descriptor connectServiceManager() noexcept {
    const char* const text = std::getenv(kVariable);
    const Address address = addressOf(text != nullptr ? text : "");
    ::unsetenv(kVariable);
    if (address.size == 0) {
        return {};
    }
    Descriptor connection(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!connection.valid() ||
        ::connect(connection.get(), reinterpret_cast<const sockaddr*>(&address.name), address.size) != 0) {
        return {};
    }
    ::setsockopt(connection.get(), SOL_SOCKET, SO_SNDTIMEO, &kPatience, sizeof kPatience);
    return connection;
}

void tellServiceManager(const Descriptor& connection, std::string_view state) noexcept {
    if (connection.valid() && !state.empty()) {
        [[maybe_unused]] const ssize_t sent = ::send(connection.get(), state.data(), state.size(), MSG_NOSIGNAL);
    }
}

}  // namespace tessel::platform
