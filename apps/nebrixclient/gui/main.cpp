#include <wx/init.h>

#include <string>
#include <vector>

#include "apps/nebrixclient/gui/bus.h"
#include "apps/nebrixclient/gui/desktop.h"
#include "apps/nebrixclient/gui/nebrixclientgui.h"
#include "libs/base/platform.h"

int main(int argc, char** argv) {
    nebrix::gui::desktop::preferX11();
    nebrix::gui::bus::startNone();
    app = nullptr;  // also keeps the application's own source file in the program
    std::vector<std::string> taken = tessel::platform::takeArguments(argc, argv);
    std::vector<char*> words{argv[0]};
    for (std::string& word : taken) {
        words.push_back(word.data());
    }
    words.push_back(nullptr);
    int count = argc;
    return wxEntry(count, words.data());
}
