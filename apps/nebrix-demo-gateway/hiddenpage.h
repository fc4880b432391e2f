// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <thread>

namespace httplib {
class Server;
}

namespace tessel::gateway {

/// One page over HTTP, to be found behind a tunnel: it says so, and from which address it was asked for.
class HiddenPage {
public:
    /// Listens at port 80 of an address of the network that the calling thread is in. Raises EGateway.
    explicit HiddenPage(const std::string& address);
    HiddenPage(const HiddenPage&) = delete;
    HiddenPage& operator=(const HiddenPage&) = delete;
    ~HiddenPage();

    /// Serves on threads of its own, which are in the network that the caller is in; once.
    void start();

private:
    std::unique_ptr<httplib::Server> m_server;
    std::thread m_thread;
};

}  // namespace tessel::gateway
