// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-demo-gateway/arguments.h"

#include <filesystem>

#include "apps/common/commandline.h"
#include "apps/nebrixclient/version.h"

namespace tessel::gateway {

namespace {

using commandline::Arguments;
using commandline::Grammar;

constexpr unsigned kLargestPort = 65535;
constexpr unsigned kMany = 1000000;

std::string epilogue() {
    std::string text = "Faults:\n";
    for (const FaultDescription& fault : faultDescriptions()) {
        text += "  " + std::string(fault.name);
        text.append(fault.name.size() < 20 ? 20 - fault.name.size() : 1, ' ');
        text += std::string(fault.effect) + "\n";
    }
    return text +
           "\nPrints \"mediation TYPE URL\" for each component type and \"component TYPE FILE\" for\n"
           "each library, the path of its certificate (\"certificate PATH\") and \"listening\n"
           "127.0.0.1:PORT\", with --tunnel \"tunnel PID SERVER page URL\" before them, then serves\n"
           "until SIGINT or SIGTERM.\n"
           "Exit status: 0 ended by a signal, 1 failed, 2 the command line is wrong.\n";
}

Grammar grammar(std::string_view end) {
    return {
        .program = "nebrix-demo-gateway",
        .operands = {},
        .summary =
            "Serves a made-up secure remote-access gateway over HTTPS on 127.0.0.1, for demonstrations and "
            "tests of the client.",
        .options =
            {{.name = "port", .letter = 'p', .value = "PORT", .help = "the port; a free one by default"},
             {.name = "client-id", .value = "ID", .help = "the client identifier; random by default"},
             {.name = "components",
              .value = "DIR",
              .help =
                  "where libnebrix-tunnel-simulated.so (with --tunnel libnebrix-tunnel.so), libnebrix-notunnel.so and "
                  "libnebrix-hostchecker.so lie; \"components\" beside the program, or those installed, by default"},
             {.name = "component",
              .value = "TYPE=FILE",
              .help = "the library of one type (plugindll, plugindllnotunnel, hostchecker)",
              .repeatable = true},
             {.name = "key",
              .letter = 'k',
              .value = "FILE",
              .help = "private key that signs; the development key by default"},
             {.name = "component-version", .value = "VERSION", .help = "the components' version; 1.0.0 by default"},
             {.name = "elsewhere",
              .value = "HOST:PORT",
              .help = "where components are fetched from and host checks sent to; here by default"},
             {.name = "login", .value = "TEXT", .help = "\"login\" of the configuration"},
             {.name = "ticket", .value = "TEXT", .help = "\"ticket\" of the configuration"},
             {.name = "password", .value = "TEXT", .help = "\"certPassword\" of the configuration"},
             {.name = "session-id", .value = "TEXT", .help = "\"sessionid\" of the configuration"},
             {.name = "server", .value = "TEXT", .help = "\"server\" of the configuration; here by default"},
             {.name = "server-name",
              .value = "NAME",
              .help = "a name of \"sslservercertname\"; without --server here by default",
              .repeatable = true},
             {.name = "certificates",
              .value = "DIR",
              .help = "where ca.pem and client.p12 or client.pem lie, which are served as \"certificates\"; made-up "
                      "ones by default"},
             {.name = "orgname", .value = "TEXT", .help = "\"orgname\" of the configuration"},
             {.name = "service", .value = "NAME", .help = "\"service\" of the configuration"},
             {.name = "request", .value = "TEXT", .help = "\"hostcheckingrequest\" of the configuration"},
             {.name = "timer", .value = "SECONDS", .help = "\"hostcheckingtimer\" of the configuration; 1 by default"},
             {.name = "continue",
              .value = "N",
              .help = "host checks that are answered with \"continue\"; 3 by default"},
             {.name = "tunnel", .help = "starts a real tunnel's server and names it in the configuration; as root"},
             {.name = "tunnel-port", .value = "PORT", .help = "its port; 1194 by default"},
             {.name = "tunnel-proto", .value = "udp|tcp", .help = "how it is reached; udp by default"},
             {.name = "tunnel-ticket",
              .value = "TEXT",
              .help = "the ticket that it accepts; that of --ticket by default"},
             {.name = "fault",
              .letter = 'f',
              .value = "NAME",
              .help = "does something wrong, see below",
              .repeatable = true},
             {.name = "pause",
              .value = "MS",
              .help = "between two pieces of an answer with the fault slow; 250 by default"},
             {.name = "help", .letter = 'h', .help = "prints this text"},
             {.name = "version", .help = "prints the version"}},
        .epilogue = end};
}

void setComponents(const std::string& folder, bool tunnel, GatewayOptions& options) {
    const std::pair<ComponentType, std::string_view> libraries[] = {
        {ComponentType::PluginDll, tunnel ? "/libnebrix-tunnel.so" : "/libnebrix-tunnel-simulated.so"},
        {ComponentType::PluginDllNoTunnel, "/libnebrix-notunnel.so"},
        {ComponentType::Hostchecker, "/libnebrix-hostchecker.so"}};
    for (const auto& [type, name] : libraries) {
        const std::string path = folder + std::string(name);
        if (std::filesystem::exists(path)) {
            options.libraries[type] = path;
        }
    }
}

/// One "TYPE=FILE"; false when it is none.
bool setComponent(std::string_view text, GatewayOptions& options) {
    const auto equals = text.find('=');
    const auto type = sign::componentKindNamed(text.substr(0, equals));
    if (!type || equals == std::string_view::npos || equals + 1 == text.size()) {
        return false;
    }
    options.libraries[*type] = text.substr(equals + 1);
    return true;
}

void setTexts(const Arguments& arguments, GatewayOptions& options) {
    const std::pair<std::string_view, std::string*> targets[] = {
        {"client-id", &options.clientId},
        {"key", &options.keyPath},
        {"component-version", &options.version},
        {"login", &options.login},
        {"ticket", &options.ticket},
        {"password", &options.certificatePassword},
        {"orgname", &options.organisation},
        {"service", &options.service},
        {"request", &options.hostCheckingRequest},
        {"elsewhere", &options.elsewhere},
        {"session-id", &options.sessionId},
        {"server", &options.server},
        {"certificates", &options.certificatesFolder},
    };
    for (const auto& [name, target] : targets) {
        *target = arguments.value(name, *target);
    }
}

/// Returns what is wrong, or nothing.
std::string setNumbers(const Arguments& arguments, GatewayOptions& options) {
    unsigned pause = static_cast<unsigned>(options.pause.count());
    const std::tuple<std::string_view, unsigned*, unsigned> targets[] = {
        {"port", &options.port, kLargestPort},
        {"timer", &options.hostCheckingTimer, kMany},
        {"continue", &options.continuedPosts, kMany},
        {"pause", &pause, kMany},
    };
    for (const auto& [name, target, highest] : targets) {
        if (!arguments.has(name)) {
            continue;
        }
        const auto number = commandline::number(arguments.value(name), 0, highest);
        if (!number) {
            return "option --" + std::string(name) + " needs a number from 0 to " + std::to_string(highest);
        }
        *target = *number;
    }
    options.pause = std::chrono::milliseconds(pause);
    return {};
}

/// Returns what is wrong, or nothing.
std::string setTunnel(const Arguments& arguments, GatewayOptions& options) {
    for (const std::string_view name : {"tunnel-port", "tunnel-proto", "tunnel-ticket"}) {
        if (arguments.has(name) && !arguments.has("tunnel")) {
            return "option --" + std::string(name) + " needs --tunnel";
        }
    }
    if (!arguments.has("tunnel")) {
        return {};
    }
    TunnelOptions& tunnel = options.tunnel.emplace();
    const std::string protocol = arguments.value("tunnel-proto", "udp");
    const auto port = commandline::number(arguments.value("tunnel-port", "1194"), 1, kLargestPort);
    if (!port || (protocol != "udp" && protocol != "tcp")) {
        return port ? "option --tunnel-proto needs udp or tcp" : "option --tunnel-port needs a number from 1 to 65535";
    }
    tunnel.port = *port;
    tunnel.tcp = protocol == "tcp";
    tunnel.ticket = arguments.value("tunnel-ticket");
    return {};
}

}  // namespace

ProgramArguments parseArguments(const std::vector<std::string>& words, const std::string& componentsFolder) {
    const std::string end = epilogue();
    const Grammar language = grammar(end);
    const Arguments arguments = commandline::parse(language, words);
    ProgramArguments result;
    result.error = arguments.error();
    if (arguments.has("help")) {
        result.text = commandline::help(language);
    } else if (arguments.has("version")) {
        result.text = std::string("nebrix-demo-gateway ") + kClientVersion + "\n";
    }
    if (!result.error.empty() || !result.text.empty()) {
        return result;
    }
    setComponents(arguments.value("components", componentsFolder), arguments.has("tunnel"), result.options);
    for (const std::string& component : arguments.values("component")) {
        if (!setComponent(component, result.options)) {
            result.error = "option --component needs TYPE=FILE, not \"" + component + "\"";
        }
    }
    setTexts(arguments, result.options);
    result.options.serverNames = arguments.values("server-name");
    for (const std::string& name : arguments.values("fault")) {
        if (const auto fault = faultNamed(name)) {
            result.options.faults.add(*fault);
        } else {
            result.error = "unknown fault \"" + name + "\"; see --help";
        }
    }
    if (result.error.empty()) {
        result.error = setNumbers(arguments, result.options);
    }
    if (result.error.empty()) {
        result.error = setTunnel(arguments, result.options);
    }
    return result;
}

}  // namespace tessel::gateway
