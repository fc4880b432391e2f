// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "libs/http/proxy.h"

namespace tessel {

/// One way that a request may take, as settings name it. A plain value.
struct ProxyRoute {
    /// Of type none: straight to the server, whatever the environment says.
    Proxy proxy{};

    /// Without credentials, for logs: "http proxy.example:3128", "direct".
    [[nodiscard]] String shown() const;
    /// Whether both lead the same way; credentials do not matter.
    [[nodiscard]] bool sameWay(const ProxyRoute& other) const;
};

/// Adds what one answer of the desktop's settings names: "direct://", or "http://", "socks4://", "socks5://" or
/// "socks://" with a host, its port, and user information, percent-encoded. The last stands for SOCKS 5 and, where that
/// fails, SOCKS 4: two routes. False, with nothing added, for any other text.
bool addRoutes(std::vector<ProxyRoute>& routes, const String& answer);

}  // namespace tessel
