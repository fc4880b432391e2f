// SPDX-License-Identifier: Apache-2.0
// The process in which a component is checked against its contract: the component host's loading, confinement and
// calls, with a look at the process around each. Started by "nebrix-sign check", once for each scenario:
//
//   nebrix-component-probe [--plain] [--values FILE] KIND SCENARIO LIBRARY DIRECTORY
//
// Descriptor 3 is the socket that the report goes to; standard output and error are a file, which the component is not
// to write to. --values has what the component is given (givenvalues.h). With --plain the process is not confined and
// the library is opened where it lies, so that valgrind(1) can run it and name its lines. Unlike the host this program
// says what it sees to whoever started it, and gives the component no network.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <string_view>

#include "apps/nebrix-component-host/confinement.h"
#include "apps/nebrix-component-probe/downloads.h"
#include "apps/nebrix-component-probe/scenarios.h"
#include "apps/nebrix-component-probe/values.h"
#include "libs/base/errors.h"
#include "libs/base/file.h"
#include "libs/base/log.h"
#include "libs/base/platform.h"

namespace tessel::probe {
namespace {

constexpr int kUsage = 2;
constexpr std::uint64_t kLongestLibrary = 0xFFFFFFFF;

struct Arguments {
    bool plain = false;
    const char* values = nullptr;
    Kind kind{};
    const Scenario* scenario = nullptr;
    const char* path = nullptr;
    const char* directory = nullptr;
};

bool read(int argc, char** argv, Arguments& arguments) {
    constexpr int kWords = 4;
    char** words = argv + 1;
    char** const end = argv + argc;
    if (words < end && std::string_view(*words) == "--plain") {
        arguments.plain = true;
        ++words;
    }
    if (end - words > 1 && std::string_view(*words) == "--values") {
        arguments.values = words[1];
        words += 2;
    }
    if (end - words != kWords) {
        return false;
    }
    bool known = false;
    for (const Kind kind : {Kind::Tunnel, Kind::Resource, Kind::HostChecker}) {
        if (std::string_view(words[0]) == kKindNames[static_cast<int>(kind)]) {
            arguments.kind = kind;
            known = true;
        }
    }
    arguments.scenario = scenarioNamed(words[1]);
    arguments.path = words[2];
    arguments.directory = words[3];
    return known && arguments.scenario != nullptr;
}

void ignoreLog(LogCategory /*category*/, const String& /*className*/, const String& /*method*/,
               const String& /*text*/) {}

/// As the component host holds a component of the kind.
void hold(const Arguments& arguments) {
    if (!arguments.plain) {
        confine(arguments.kind == Kind::HostChecker ? String(arguments.directory) : String(), {});
    }
}

void play(const Arguments& arguments, Report& report) {
    if (arguments.values != nullptr) {
        give(readGivenValues(arguments.values));
    }
    Observer observer(report);
    const SealedFile sealed = arguments.plain ? SealedFile() : SealedFile(arguments.path, kLongestLibrary);
    Stage stage{arguments.kind, arguments.plain ? LibrarySource(String(arguments.path)) : LibrarySource(sealed),
                arguments.directory, report, observer};
    hold(arguments);
    observer.begin();
    Downloads::use(report, stage.directory);
    arguments.scenario->play(stage);
    observer.finish();
    report.done();
}

void run(const Arguments& arguments, Report& report) {
    try {
        play(arguments, report);
    } catch (const EModuleLoader& caught) {
        report.refused(Rule::Loading, "it cannot be loaded: " + std::string(caught.facts().words.view()));
    } catch (const EPluginDllInstance&) {
        report.refused(Rule::Entries, "DllCreatePluginFrontal returned null, without which there is no session");
    } catch (const EFile& caught) {
        report.refused(Rule::Loading, "it cannot be read: " + std::string(caught.facts().words.view()));
    } catch (const std::exception& caught) {
        report.threw(caught.what());
    } catch (...) {
        report.threw("");
    }
}

}  // namespace
}  // namespace tessel::probe

int main(int argc, char** argv) {
    using namespace tessel;
    using namespace tessel::probe;
    Arguments arguments;
    if (!read(argc, argv, arguments) || ::fcntl(kReportDescriptor, F_SETFD, FD_CLOEXEC) != 0) {
        std::fputs("nebrix-component-probe: is started by nebrix-sign check\n", stderr);
        return kUsage;
    }
    platform::endWithParent();
    divertLog(&ignoreLog);
    // Never destroyed: threads of the component may still use it.
    auto* const report = new Report(Descriptor(kReportDescriptor));
    run(arguments, *report);
    _exit(0);
}
