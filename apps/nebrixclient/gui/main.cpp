#include <wx/init.h>

#include "apps/nebrixclient/gui/desktop.h"
#include "apps/nebrixclient/gui/nebrixclientgui.h"

int main(int argc, char** argv) {
    nebrix::gui::desktop::preferX11();
    app = nullptr;  // also keeps the application's own source file in the program
    return wxEntry(argc, argv);
}
