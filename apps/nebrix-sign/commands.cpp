// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-sign/commands.h"

#include <ostream>

#include "apps/nebrix-sign/author/commands.h"
#include "apps/nebrix-sign/check/checkcommand.h"
#include "apps/nebrix-sign/componentkind.h"
#include "apps/nebrix-sign/files.h"
#include "apps/nebrix-sign/grammars.h"
#include "apps/nebrix-sign/signing.h"
#include "apps/nebrixclient/version.h"
#include "libs/base/file.h"

namespace tessel::sign {

namespace {

using commandline::Arguments;
using commandline::Grammar;

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kUsage = 2;

struct Command {
    std::string_view name;
    Grammar grammar;
    int (*run)(const Arguments& arguments, std::ostream& out, std::ostream& err);
    /// An option that must be given, or empty.
    std::string_view required;
};

int complain(std::ostream& err, std::string_view text, int status) {
    err << "nebrix-sign: " << text << "\n";
    return status;
}

int keygen(const Arguments& arguments, std::ostream& out, std::ostream& /*err*/) {
    const auto& files = arguments.operands();
    writeKeyPair(files[0], files[1], arguments.has("force"));
    out << "private key " << files[0] << "\npublic key " << files[1] << "\n";
    return kDone;
}

AskPassword passwordSource(const Arguments& arguments) {
    if (!arguments.has("password-file")) {
        return passwordFromTerminal;
    }
    return [file = arguments.value("password-file")](const std::string& /*key*/) { return passwordInFile(file); };
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// Whether one sees where the version ends and the name begins: nothing parts them in what is signed.
bool showWhereTheyPart(std::string_view version, std::string_view name) {
    return !version.empty() && isDigit(version.back()) && !name.empty() && !isDigit(name.front()) &&
           name.front() != '.';
}

int sign(const Arguments& arguments, std::ostream& out, std::ostream& err) {
    const std::string& library = arguments.operands()[0];
    const auto kind = componentKindNamed(arguments.value("type"));
    if (arguments.has("type") && !kind) {
        return complain(err, "option --type needs plugindll, plugindllnotunnel or hostchecker", kUsage);
    }
    const std::string key = arguments.value("key", kDevelopmentKey);
    if (arguments.has("development") != key.empty()) {
        return complain(err, "one of the options --key and --development is required", kUsage);
    }
    requireReadable(library);
    const Finding finding = examineComponent(library, kind);
    if (finding.verdict == Finding::Verdict::NoComponent && !arguments.has("force")) {
        return complain(err, finding.text + " (--force signs it all the same)", kFailed);
    }
    if (finding.verdict != Finding::Verdict::Component) {
        complain(err, "warning: " + finding.text, kDone);
    }
    const std::string version = arguments.value("version", "1.0.0");
    const std::string name = arguments.value("name", fileName(library));
    if (!showWhereTheyPart(version, name)) {
        complain(err,
                 "warning: the signature will hold for version and name cut elsewhere as well; only a version that "
                 "ends in a digit, before a name that begins with none and no dot, shows where they part",
                 kDone);
    }
    signLibrary(library, signaturePath(library), key, name, version, passwordSource(arguments));
    out << "signature " << signaturePath(library) << "\n";
    return kDone;
}

int verify(const Arguments& arguments, std::ostream& out, std::ostream& /*err*/) {
    const Verification found = verifyLibrary(arguments.operands()[0], arguments.value("key"));
    out << "digest: "
        << (found.digestMatches ? "matches the library" : "does not match: the library is not the one that was signed")
        << "\nsignature: "
        << (found.signatureMatches ? "made with this key"
                                   : "does not hold: another key made it, or a signed value was edited")
        << "\n";
    return found.digestMatches && found.signatureMatches ? kDone : kFailed;
}

int pack(const Arguments& arguments, std::ostream& out, std::ostream& /*err*/) {
    const std::string& library = arguments.operands()[0];
    const auto given = [&](std::string_view name) {
        return arguments.has(name) ? std::optional(arguments.value(name)) : std::nullopt;
    };
    out << toJson(packLibrary(library, {.archivePath = arguments.value("output", library + ".zip"),
                                        .urlpath = arguments.value("urlpath", "/components/"),
                                        .version = given("version"),
                                        .publicKeyPath = given("key")}));
    return kDone;
}

const std::vector<Command>& commands() {
    static const std::vector<Command> kCommands{
        {"keygen", keygenGrammar(), &keygen, {}},    {"sign", signGrammar(), &sign, {}},
        {"verify", verifyGrammar(), &verify, "key"}, {"pack", packGrammar(), &pack, {}},
        {"check", checkGrammar(), &check, {}},       {"new", newGrammar(), &newComponent, {}},
        {"try", tryGrammar(), &tryComponent, {}},    {"serve", serveGrammar(), &serveComponents, {}}};
    return kCommands;
}

int runCommand(const Command& command, const std::vector<std::string>& words, std::ostream& out, std::ostream& err) {
    const Arguments arguments = commandline::parse(command.grammar, words);
    if (!arguments.error().empty()) {
        return complain(err, arguments.error(), kUsage);
    }
    if (arguments.has("help")) {
        out << commandline::help(command.grammar);
        return kDone;
    }
    if (!command.required.empty() && !arguments.has(command.required)) {
        return complain(err, "option --" + std::string(command.required) + " is required", kUsage);
    }
    return command.run(arguments, out, err);
}

int dispatch(const std::vector<std::string>& words, std::ostream& out, std::ostream& err) {
    if (words.empty()) {
        err << kOverview;
        return kUsage;
    }
    if (words[0] == "--help" || words[0] == "-h") {
        out << kOverview;
        return kDone;
    }
    if (words[0] == "--version") {
        out << "nebrix-sign " << kClientVersion << "\n";
        return kDone;
    }
    for (const Command& command : commands()) {
        if (command.name == words[0]) {
            return runCommand(command, {words.begin() + 1, words.end()}, out, err);
        }
    }
    return complain(err, "unknown command \"" + words[0] + "\"; see --help", kUsage);
}

}  // namespace

int run(const std::vector<std::string>& words, std::ostream& out, std::ostream& err) noexcept {
    try {
        const int status = dispatch(words, out, err);
        if (!out.flush()) {
            return complain(err, "cannot write to the standard output", status == kDone ? kFailed : status);
        }
        return status;
    } catch (const ESign& caught) {
        return complain(err, caught.getMessage().view(), kFailed);
    } catch (const EFile& caught) {
        return complain(err, "a file cannot be read or written (" + std::string(caught.toString().view()) + ")",
                        kFailed);
    } catch (const Exception& caught) {
        return complain(err, caught.toString().view(), kFailed);
    } catch (const std::exception& caught) {
        return complain(err, caught.what(), kFailed);
    }
}

}  // namespace tessel::sign
