#include "apps/nebrix-sign/commands.h"

#include <array>
#include <ostream>

#include "apps/common/commandline.h"
#include "apps/nebrix-sign/signing.h"
#include "apps/nebrixclient/signeddll.h"
#include "apps/nebrixclient/version.h"
#include "libs/base/file.h"

namespace tessel::sign {

namespace {

using commandline::Arguments;
using commandline::Grammar;

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kUsage = 2;

constexpr std::string_view kOverview =
    "usage: nebrix-sign COMMAND [options] OPERANDS\n"
    "Signs component libraries, checks them and packs them for a gateway.\n"
    "\n"
    "Commands:\n"
    "  keygen PRIVATE PUBLIC   makes an RSA key pair, two PEM files\n"
    "  sign LIBRARY            writes the signature file LIBRARY.sig\n"
    "  verify LIBRARY          checks a library and its signature file\n"
    "  pack LIBRARY            packs both into an archive and prints what to announce\n"
    "\n"
    "\"nebrix-sign COMMAND --help\" tells more about each. \"--version\" prints the version.\n"
    "\n"
    "Exit status: 0 done, or the library is genuine; 1 failed, or it is not; 2 the\n"
    "command line is wrong.\n";

constexpr commandline::Option kHelp{.name = "help", .letter = 'h', .help = "prints this text"};

struct Command {
    std::string_view name;
    Grammar grammar;
    int (*run)(const Arguments& arguments, std::ostream& out);
    /// An option that must be given, or empty.
    std::string_view required;
};

int keygen(const Arguments& arguments, std::ostream& out) {
    const auto& files = arguments.operands();
    writeKeyPair(files[0], files[1], arguments.has("force"));
    out << "private key " << files[0] << "\npublic key " << files[1] << "\n";
    return kDone;
}

int sign(const Arguments& arguments, std::ostream& out) {
    const std::string& library = arguments.operands()[0];
    signLibrary(library, signaturePath(library), arguments.value("key"),
                arguments.value("name", std::string_view(library).substr(library.find_last_of('/') + 1)),
                arguments.value("version", "1.0.0"));
    out << "signature " << signaturePath(library) << "\n";
    return kDone;
}

int verify(const Arguments& arguments, std::ostream& out) {
    const Verification found = verifyLibrary(arguments.operands()[0], arguments.value("key"));
    out << "digest: "
        << (found.digestMatches ? "matches the library" : "does not match: the library is not the one that was signed")
        << "\nsignature: "
        << (found.signatureMatches ? "made with this key"
                                   : "does not hold: another key made it, or a signed value was edited")
        << "\n";
    return found.digestMatches && found.signatureMatches ? kDone : kFailed;
}

int pack(const Arguments& arguments, std::ostream& out) {
    const std::string& library = arguments.operands()[0];
    out << toJson(packLibrary(library, arguments.value("output", library + ".zip"), arguments.value("version", "1.0.0"),
                              arguments.value("urlpath", "/components/")));
    return kDone;
}

const std::array<Command, 4>& commands() {
    static const std::array<Command, 4> kCommands{{
        {"keygen",
         {.program = "nebrix-sign keygen",
          .operands = "PRIVATE PUBLIC",
          .summary = "Makes an RSA key pair of 2048 bits and writes its halves as PEM files, the private one for its "
                     "owner alone. The public one is what a client is built with.",
          .options = {{.name = "force", .letter = 'f', .help = "replaces files that are there already"}, kHelp},
          .fewestOperands = 2,
          .mostOperands = 2},
         &keygen,
         {}},
        {"sign",
         {.program = "nebrix-sign sign",
          .operands = "LIBRARY",
          .summary = "Signs a component library: writes LIBRARY.sig with its digest, the current time and the "
                     "signature.",
          .options =
              {{.name = "key", .letter = 'k', .value = "PRIVATE", .help = "PEM file of the private key; required"},
               {.name = "name", .value = "NAME", .help = "the component's name; the file's by default"},
               {.name = "version", .value = "VERSION", .help = "the component's version; 1.0.0 by default"},
               kHelp},
          .fewestOperands = 1,
          .mostOperands = 1},
         &sign,
         "key"},
        {"verify",
         {.program = "nebrix-sign verify",
          .operands = "LIBRARY",
          .summary = "Checks a library against LIBRARY.sig and a public key, and says of the digest and of the "
                     "signature whether they hold.",
          .options = {{.name = "key", .letter = 'k', .value = "PUBLIC", .help = "PEM file of the public key; required"},
                      kHelp},
          .fewestOperands = 1,
          .mostOperands = 1},
         &verify,
         "key"},
        {"pack",
         {.program = "nebrix-sign pack",
          .operands = "LIBRARY",
          .summary = "Packs LIBRARY and LIBRARY.sig into a ZIP archive and prints the JSON object that a gateway's "
                     "configuration announces it with.",
          .options = {{.name = "output", .letter = 'o', .value = "FILE", .help = "the archive; LIBRARY.zip by default"},
                      {.name = "version", .value = "VERSION", .help = "the component's version; 1.0.0 by default"},
                      {.name = "urlpath",
                       .value = "PATH",
                       .help = "what the archive's name follows in its URL; /components/ by default"},
                      kHelp},
          .fewestOperands = 1,
          .mostOperands = 1},
         &pack,
         {}},
    }};
    return kCommands;
}

int complain(std::ostream& err, std::string_view text, int status) {
    err << "nebrix-sign: " << text << "\n";
    return status;
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
    return command.run(arguments, out);
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
        return dispatch(words, out, err);
    } catch (const ESign& caught) {
        return complain(err, caught.getMessage().view(), kFailed);
    } catch (const EBadSignature&) {
        return complain(err, "the signature file is missing or cannot be read as one", kFailed);
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
