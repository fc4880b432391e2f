// SPDX-License-Identifier: Apache-2.0
// What comes over the connections between client and component host, read by either: the host must serve it, the client
// take it for the answers to its calls, and neither may do more than refuse.

#include <sys/socket.h>

#include <cstddef>
#include <cstdint>

#include "apps/nebrix-component-host/callserver.h"
#include "apps/nebrixclient/componentanswer.h"

namespace tessel {
namespace {

/// A connection over which nothing but these bytes comes.
Descriptor sending(const std::uint8_t* data, std::size_t size, Descriptor& other) {
    auto [reading, writing] = Channel::makePair(SOCK_STREAM);
    if (::send(writing.get(), data, size, MSG_NOSIGNAL | MSG_DONTWAIT) >= 0) {
        ::shutdown(writing.get(), SHUT_WR);
    }
    other = std::move(writing);
    return std::move(reading);
}

void serve(Descriptor calls) {
    try {
        CallServer(std::move(calls), nullptr, [](const String&) {}).serve();
    } catch (const EProtocol&) {
    } catch (const EChannel&) {
    }
}

void take(Descriptor answers) {
    Channel host(std::move(answers), Channel::Attachments::Refused);
    String entry;
    for (bool more = true; more;) {
        try {
            (void)readComponentAnswer(host, entry);
        } catch (const ComponentException&) {
        } catch (const Exception&) {
            more = false;
        }
    }
}

}  // namespace
}  // namespace tessel

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t kFits = 512;  // so that the host's answers, which nobody reads here, never fill the socket
    if (size == 0 || size > kFits) {
        return 0;
    }
    tessel::Descriptor other;
    if (*data % 2 == 0) {
        tessel::serve(tessel::sending(data + 1, size - 1, other));
    } else {
        tessel::take(tessel::sending(data + 1, size - 1, other));
    }
    return 0;
}
