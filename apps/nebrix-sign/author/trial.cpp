// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-sign/author/trial.h"

#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <ostream>
#include <utility>

#include "apps/nebrix-demo-gateway/demogateway.h"
#include "apps/nebrix-sign/author/trialclient.h"
#include "apps/nebrix-sign/files.h"
#include "apps/nebrix-sign/scratchdirectory.h"
#include "apps/nebrix-sign/signing.h"
#include "libs/base/printable.h"
#include "libs/openssl/errors.h"

namespace tessel::sign {

namespace {

namespace fs = std::filesystem;
using gateway::DemoGateway;
using gateway::GatewayOptions;

constexpr const char* kCommonLog = "/tmp/nebrixclient.log";

[[noreturn]] void refuse(const std::string& text, RaiseSite site) { raise<ESign>(String::copy(text), site); }

ComponentKind kindOf(const Trial& trial) {
    requireReadable(trial.component);
    const auto kind = trial.kind ? trial.kind : componentKindOf(trial.component);
    const Finding finding = examineComponent(trial.component, kind);
    if (finding.verdict != Finding::Verdict::Component) {
        refuse(finding.text, sites::kNoComponent);
    }
    return *kind;
}

/// The client would say no more than that the signature does not hold.
void requireTrust(const Trial& trial, const HeldSignals& signals, const std::string& client) {
    if (!trial.isSigned && trial.privateKey.empty() && !trustsDevelopmentKey(signals, client)) {
        refuse(client + " does not trust the development key: name the private half of the key that it was built " +
                   "with by --key, or have its owner sign the library and give --signed",
               sites::kOtherClientKey);
    }
}

GatewayOptions optionsOf(const Trial& trial, ComponentKind kind) {
    GatewayOptions options;
    options.libraries[kind] = trial.component;
    options.keyPath = trial.privateKey;
    options.signedAlready = trial.isSigned;
    if (trial.isSigned) {
        requireOwnSignature(trial.component);
    }
    options.version = trial.version;
    if (!trial.request.empty()) {
        options.hostCheckingRequest = trial.request;
    }
    return options;
}

std::unique_ptr<DemoGateway> started(GatewayOptions options) {
    try {
        auto gateway = std::make_unique<DemoGateway>(std::move(options));
        gateway->start();
        return gateway;
    } catch (const gateway::EGateway& caught) {
        raise<ESign>(caught.getMessage(), sites::kNoGateway);
    } catch (const tls::ELibContext& caught) {
        raise<ESign>(caught.getMessage(), sites::kNoGateway);
    }
}

/// Where the client writes its log: at home, if the common one is somebody else's.
std::string logOf(const std::string& home) {
    struct stat status {};
    const bool ours = ::lstat(kCommonLog, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == ::getuid();
    return ours ? kCommonLog : home + "/.Nebrix/nebrixclient.log";
}

/// What the component wrote, and warnings.
void tellLog(const std::string& path, std::ostream& out) {
    out << "== the component said\n";
    bool something = false;
    std::ifstream log(path);
    for (std::string line; std::getline(log, line);) {
        for (const std::string_view mark : {" Component.notes ", " Component.output ", " WARNING "}) {
            if (const auto at = line.find(mark); at != std::string::npos) {
                out << "  " << line.substr(mark == " WARNING " ? at + 1 : at + mark.size()) << "\n";
                something = true;
                break;
            }
        }
    }
    out << (something ? "" : "  nothing\n") << "the whole log is " << path << "\n";
}

void tell(const DemoGateway& gateway, const std::string& home, std::ostream& out) {
    out << "== the gateway was asked\n";
    for (const gateway::RecordedRequest& request : gateway.requests().all()) {
        out << "  " << request.method << " " << printable(String::copy(request.target)).view() << "\n";
    }
    for (const std::string& verdict : gateway.hostChecks()) {
        out << "  verdict \"" << printable(String::copy(verdict)).view() << "\"\n";
    }
    tellLog(logOf(home), out);
}

std::vector<std::string> clientArguments(const Trial& trial, const DemoGateway& gateway) {
    std::vector<std::string> arguments{"--changes-only", "--trust", gateway.certificateFingerprint()};
    if (trial.debugger) {
        arguments.emplace_back("--component-debugger");
    }
    return arguments;
}

/// Adds a library that has a signature file.
void addSigned(const std::string& library, GatewayOptions& options) {
    const auto kind = componentKindOf(library);
    if (!kind) {
        return;
    }
    requireOwnSignature(library);
    const auto [place, fresh] = options.libraries.emplace(*kind, library);
    if (!fresh) {
        refuse(place->second + " and " + library + " are both of the type " + std::string(componentKindName(*kind)),
               sites::kNoComponent);
    }
}

GatewayOptions optionsOf(const Service& service) {
    GatewayOptions options;
    options.port = service.port;
    options.clientId = service.clientId;
    options.signedAlready = true;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(service.directory, error)) {
        std::error_code unknown;
        if (fs::exists(signaturePath(entry.path().string()), unknown)) {
            addSigned(entry.path().string(), options);
        }
    }
    if (error) {
        refuse("cannot read the directory " + service.directory + ": " + error.message(), sites::kCannotRead);
    }
    if (options.libraries.empty()) {
        refuse("there is no signed component in " + service.directory + " (\"nebrix-sign sign\" signs)",
               sites::kNoComponent);
    }
    return options;
}

}  // namespace

int runTrial(const Trial& trial, std::ostream& out) {
    const ComponentKind kind = kindOf(trial);
    const HeldSignals signals;
    const std::string client = findClient(trial.client);
    requireTrust(trial, signals, client);
    const ScratchDirectory scratch("nebrix-sign");
    const std::string home = trial.home.empty() ? scratch.path() : fs::absolute(trial.home).string();
    makeDirectory(home);
    const auto gateway = started(optionsOf(trial, kind));
    out << "== " << client << " with " << trial.component << " as " << componentKindName(kind)
        << " (Ctrl-C ends the session)\n";
    if (trial.debugger) {
        out << "the component's process waits for a debugger; its number comes into " << kCommonLog << "\n";
    }
    out << std::flush;
    const int status =
        runClient(signals, client, clientArguments(trial, *gateway), gateway->mediation(kind), home, trial.seconds);
    tell(*gateway, home, out);
    if (status != 0 && (trial.isSigned || !trial.privateKey.empty())) {
        out << "where the signature is not valid: another key than the client's made it\n";
    }
    return status;
}

void serveDirectory(const Service& service, std::ostream& out) {
    const HeldSignals signals;
    std::signal(SIGPIPE, SIG_IGN);  // a client that goes away in the middle of an answer
    const GatewayOptions options = optionsOf(service);
    const auto gateway = started(options);
    for (const auto& [type, library] : options.libraries) {
        out << "component " << componentKindName(type) << " " << library << "\n"
            << "mediation " << componentKindName(type) << " " << gateway->mediation(type) << "\n";
    }
    out << "fingerprint " << gateway->certificateFingerprint() << "\n"
        << "listening " << gateway->authority() << std::endl;
    while (signals.wait(0) == SIGCHLD) {
    }
}

}  // namespace tessel::sign
