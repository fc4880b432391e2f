// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-sign/author/commands.h"

#include <cstdlib>
#include <ostream>

#include "apps/nebrix-sign/author/newcomponent.h"
#include "apps/nebrix-sign/author/trial.h"
#include "libs/base/platform.h"

namespace tessel::sign {

namespace {

using commandline::Arguments;

constexpr int kUsage = 2;
constexpr unsigned kDay = 86400;
constexpr unsigned kLargestPort = 65535;

int misused(std::ostream& err, std::string_view text) {
    err << "nebrix-sign: " << text << "\n";
    return kUsage;
}

std::optional<ComponentKind> newKind(std::string_view word) {
    if (word == "tunnel") {
        return ComponentKind::PluginDll;
    }
    if (word == "notunnel") {
        return ComponentKind::PluginDllNoTunnel;
    }
    return word == "hostchecker" ? std::optional(ComponentKind::Hostchecker) : std::nullopt;
}

/// As a shell takes it for one word.
std::string quoted(const std::string& text) {
    constexpr std::string_view kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_./=+,:@%";
    if (!text.empty() && text.find_first_not_of(kPlain) == std::string::npos) {
        return text;
    }
    std::string word = "'";
    for (const char c : text) {
        word += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return word + "'";
}

/// What a makefile has to be told of this program, where PATH does not lead to it.
std::string programForMake() {
    const std::string folder(platform::programDirectory().view());
    const char* const path = std::getenv("PATH");
    const bool known =
        (":" + std::string(path == nullptr ? "" : path) + ":").find(":" + folder + ":") != std::string::npos;
    return known ? "" : " " + quoted("NEBRIX_SIGN=" + folder + "/nebrix-sign");
}

/// The option's number; nothing when it is none that the option takes.
std::optional<unsigned> numberOf(const Arguments& arguments, std::string_view option, unsigned highest) {
    return commandline::number(arguments.value(option, "0"), 0, highest);
}

}  // namespace

int newComponent(const Arguments& arguments, std::ostream& out, std::ostream& err) {
    const auto& words = arguments.operands();
    const auto kind = newKind(words[0]);
    if (!kind) {
        return misused(err, "\"" + words[0] + "\" is no kind of component: tunnel, notunnel and hostchecker are");
    }
    const std::string& directory = words.size() > 2 ? words[2] : words[1];
    writeNewComponent(*kind, words[1], directory);
    out << "a component to begin with is in " << directory << "; build it and try it:\n"
        << "  make -C " << quoted(directory) << " try" << programForMake() << "\n";
    return 0;
}

int tryComponent(const Arguments& arguments, std::ostream& out, std::ostream& err) {
    const auto seconds = numberOf(arguments, "seconds", kDay);
    Trial trial{.component = arguments.operands()[0],
                .kind = componentKindNamed(arguments.value("type")),
                .privateKey = arguments.value("key"),
                .isSigned = arguments.has("signed"),
                .version = arguments.value("version", "1.0.0"),
                .client = arguments.value("client"),
                .home = arguments.value("home"),
                .debugger = arguments.has("debugger"),
                .request = arguments.value("request"),
                .seconds = seconds.value_or(0)};
    if (arguments.has("type") && !trial.kind) {
        return misused(err, "option --type needs plugindll, plugindllnotunnel or hostchecker");
    }
    if (!seconds) {
        return misused(err, "option --seconds needs a number from 0 to 86400");
    }
    if (trial.isSigned && (arguments.has("key") || arguments.has("version"))) {
        return misused(err, "what is signed already is not signed with --key or --version");
    }
    return runTrial(trial, out);
}

int serveComponents(const Arguments& arguments, std::ostream& out, std::ostream& err) {
    const auto port = numberOf(arguments, "port", kLargestPort);
    if (!port) {
        return misused(err, "option --port needs a number from 0 to 65535");
    }
    serveDirectory({.directory = arguments.operands()[0], .port = *port, .clientId = arguments.value("client-id")},
                   out);
    return 0;
}

}  // namespace tessel::sign
