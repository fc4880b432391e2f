// SPDX-License-Identifier: Apache-2.0
#include <pthread.h>

#include <csignal>
#include <filesystem>
#include <iostream>
#include <optional>
#include <system_error>

#include "apps/nebrix-demo-gateway/arguments.h"
#include "apps/nebrix-demo-gateway/demogateway.h"
#include "apps/nebrix-demo-gateway/networknamespace.h"
#include "apps/nebrix-demo-gateway/tunnelserver.h"
#include "libs/base/platform.h"

namespace {

using namespace tessel::gateway;

constexpr int kFailed = 1;
constexpr int kUsage = 2;

/// Where the reference components lie: beside the program after a build, else where they are installed.
std::string componentsFolder() {
    const std::string here(tessel::platform::programDirectory().view());
    std::error_code unknown;
    const std::string beside = here + "/components";
    return std::filesystem::exists(beside, unknown) ? beside : here + "/../libexec/nebrix-demo-gateway";
}

/// Blocks the signals that end the program, in this thread and all that it starts.
sigset_t blockEnd() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    // A client that goes away in the middle of an answer is no reason to end.
    std::signal(SIGPIPE, SIG_IGN);
    return signals;
}

void serve(GatewayOptions options) {
    const sigset_t signals = blockEnd();
    std::optional<TunnelServer> tunnel;
    if (options.tunnel) {
        tunnel.emplace(options, [](const std::string& news) { std::cout << "tunnel " + news + "\n" << std::flush; });
        tunnel->fill(options);
        std::cout << "tunnel " << tunnel->process() << " " << tunnel->server() << " page " << tunnel->page() << "\n";
    }
    for (const auto& [type, library] : options.libraries) {
        std::cout << "component " << typeName(type) << " " << library << "\n";
    }
    DemoGateway gateway(std::move(options));
    gateway.start();
    for (const ComponentType type : kComponentTypes) {
        std::cout << "mediation " << typeName(type) << " " << gateway.mediation(type) << "\n";
    }
    std::cout << "certificate " << gateway.certificatePath() << "\n"
              << "fingerprint " << gateway.certificateFingerprint() << "\n"
              << "listening " << gateway.authority() << std::endl;
    int number = 0;
    sigwait(&signals, &number);
    gateway.stop();
}

}  // namespace

int main(int argc, char* argv[]) {
    const ProgramArguments arguments = parseArguments({argv + (argc > 0 ? 1 : 0), argv + argc}, componentsFolder());
    if (!arguments.error.empty()) {
        std::cerr << "nebrix-demo-gateway: " << arguments.error << "\n";
        return kUsage;
    }
    if (!arguments.text.empty()) {
        std::cout << arguments.text;
        return 0;
    }
    if (const std::string missing = missingForTunnels(); arguments.options.tunnel && !missing.empty()) {
        std::cerr << "nebrix-demo-gateway: " << missing << "\n";
        return kFailed;
    }
    try {
        serve(arguments.options);
        return 0;
    } catch (const tessel::Exception& caught) {
        std::cerr << "nebrix-demo-gateway: " << caught.getMessage().view() << "\n";
    } catch (const std::exception& caught) {
        std::cerr << "nebrix-demo-gateway: " << caught.what() << "\n";
    }
    return kFailed;
}
