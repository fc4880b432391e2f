// SPDX-License-Identifier: Apache-2.0
// Saves the settings file that is named, with what it holds, until it is killed (kills.py).
#include "apps/nebrixclient/clientlocalconfiguration.h"

int main(int /*argc*/, char** argv) {
    tessel::ClientLocalConfiguration settings;
    settings.readFromFile(argv[1]);
    for (;;) {
        settings.save(argv[1]);
    }
}
