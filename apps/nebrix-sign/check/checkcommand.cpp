// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-sign/check/checkcommand.h"

#include <ostream>

#include "apps/nebrix-sign/check/componentcheck.h"
#include "libs/base/exception.h"

namespace tessel::sign {

namespace {

enum Status { kPassed = 0, kFailed = 1, kUsage = 2, kNotRun = 3 };

}  // namespace

commandline::Grammar checkGrammar() {
    return {
        .program = "nebrix-sign check",
        .operands = "LIBRARY",
        .summary =
            "Loads a component library, which need not be signed, into processes of its own and checks it against the "
            "contract of nebrix_component.h: one line for each rule, with its number there.",
        .options = {{.name = "type",
                     .letter = 't',
                     .value = "TYPE",
                     .help =
                         "checks it as plugindll, plugindllnotunnel or hostchecker; as all that its entries tell by "
                         "default"},
                    {.name = "valgrind", .help = "looks for lost memory and memory errors with valgrind, too"},
                    {.name = "values",
                     .value = "FILE",
                     .help = "lines KEY=TEXT: a server, a certificate and the like, in the place of what is made up"},
                    {.name = "json", .help = "prints one JSON document"},
                    {.name = "help", .letter = 'h', .help = "prints this text"}},
        .fewestOperands = 1,
        .mostOperands = 1,
        .epilogue =
            "The library's code is run with this user's rights. Exit status: 0 no rule failed;\n"
            "1 one did; 2 the command line is wrong; 3 nothing could be checked.\n"};
}

int check(const commandline::Arguments& arguments, std::ostream& out, std::ostream& err) {
    CheckOptions options{
        .path = arguments.operands()[0], .valgrind = arguments.has("valgrind"), .values = arguments.value("values")};
    options.kind = componentKindNamed(arguments.value("type"));
    if (arguments.has("type") && !options.kind) {
        err << "nebrix-sign: option --type needs plugindll, plugindllnotunnel or hostchecker\n";
        return kUsage;
    }
    try {
        const CheckReport report = checkComponent(options);
        out << (arguments.has("json") ? toJson(report) : toText(report)) << std::flush;
        if (!out) {
            return kNotRun;  // nobody reads what came out
        }
        return report.passed() ? kPassed : kFailed;
    } catch (const Exception& caught) {
        err << "nebrix-sign: " << caught.getMessage().view() << "\n";
    } catch (const std::exception& caught) {
        err << "nebrix-sign: " << caught.what() << "\n";
    }
    return kNotRun;
}

}  // namespace tessel::sign
