// SPDX-License-Identifier: Apache-2.0
#include <proxy.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "libs/base/freewith.h"
#include "libs/base/platform.h"

// usage: nebrix-proxy-query URL
//
// Asks libproxy which proxies lead to the URL and writes its answers to descriptor 3, one a line. A program of its own,
// since libproxy loads what desktops and networks have it run: their settings' libraries, and a JavaScript engine for
// the network's script. Whoever starts it ends it when that takes too long.

namespace {

constexpr int kAnswers = 3;
constexpr unsigned kWriteMilliseconds = 500;

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        return 2;
    }
    using tessel::FreeWith;
    tessel::platform::endWithParent();
    const std::unique_ptr<pxProxyFactory, FreeWith<px_proxy_factory_free>> factory(px_proxy_factory_new());
    if (factory == nullptr) {
        return 1;
    }
    const std::unique_ptr<char*, FreeWith<px_proxy_factory_free_proxies>> answers(
        px_proxy_factory_get_proxies(factory.get(), argv[1]));
    for (char** answer = answers.get(); answer != nullptr && *answer != nullptr; ++answer) {
        const std::string line = std::string(*answer) + "\n";
        std::string_view left = line;
        tessel::platform::writeWithin(kAnswers, left, kWriteMilliseconds);
    }
    ::close(kAnswers);  // whoever waits for them need not wait for what libproxy has to tidy up
    return 0;
}
