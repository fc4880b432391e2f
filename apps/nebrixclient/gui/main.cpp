// SPDX-License-Identifier: Apache-2.0
#include <wx/init.h>

#include <cstdio>
#include <limits>
#include <string>
#include <vector>

#include "apps/common/commandline.h"
#include "apps/common/privacy.h"
#include "apps/nebrixclient/gui/bus.h"
#include "apps/nebrixclient/gui/desktop.h"
#include "apps/nebrixclient/gui/nebrixclientgui.h"
#include "apps/nebrixclient/gui/wxlogtarget.h"
#include "apps/nebrixclient/versiontext.h"
#include "libs/base/platform.h"

namespace {

namespace commandline = tessel::commandline;

constexpr const char* kProgram = "nebrixclient";
constexpr int kUsage = 2;

commandline::Grammar grammar() {
    return {
        .program = kProgram,
        .operands = "[MEDIATION]",
        .summary =
            "Opens the session that a mediation string names, with a panel and an icon in the tray. Without "
            "one it shows its version in a window.",
        .options = {{"help", 'h', "", "show this help", false},
                    {"version", 'V', "", "show the version and the key that components are verified against", false}},
        .mostOperands = std::numeric_limits<unsigned>::max(),  // only the first one counts
        .epilogue =
            "MEDIATION is the link from the gateway's page, nebrix://IDENTIFIER@GATEWAY/PATH?QUERY.\n"
            "The log is /tmp/nebrixclient.log.\n",
    };
}

int complain(const std::string& text) {
    std::fprintf(stderr, "%s: %s\nTry \"%s --help\".\n", kProgram, text.c_str(), kProgram);
    return kUsage;
}

/// The window toolkit takes the whole command line; nothing but links may reach it.
int runWindows(char* program, std::vector<std::string> links) {
    nebrix::gui::desktop::preferX11();
    nebrix::gui::desktop::startWithoutOpenGl();
    nebrix::gui::bus::startNone();
    nebrix::gui::desktop::settleEnvironment();
    nebrix::gui::desktop::keepHeapSmall();
    nebrix::gui::desktop::readFontsAhead();
    nebrix::gui::logAssertions();
    app = nullptr;  // also keeps the application's own source file in the program
    std::vector<char*> words{program};
    for (std::string& link : links) {
        words.push_back(link.data());
    }
    int count = static_cast<int>(words.size());
    words.push_back(nullptr);
    return wxEntry(count, words.data());
}

}  // namespace

int main(int argc, char** argv) {
    tessel::privacy::hideMemory();
    const std::vector<std::string> taken = tessel::platform::takeArguments(argc, argv);
    const commandline::Arguments arguments = commandline::parse(grammar(), taken);
    if (!arguments.error().empty()) {
        return complain(arguments.error());
    }
    if (arguments.has("help") || arguments.has("version")) {
        std::puts((arguments.has("help") ? commandline::help(grammar()) : tessel::versionText(kProgram)).c_str());
        return 0;
    }
    if (!arguments.operands().empty() && arguments.operands().front().starts_with('-')) {
        return complain("what begins with \"-\" is no link");
    }
    return runWindows(argv[0], arguments.operands());
}
