// SPDX-License-Identifier: Apache-2.0
#include "apps/component/helperprogram.h"

#include "libs/base/file.h"
#include "libs/base/platform.h"

namespace tessel {

String helperProgram(const char* name) {
    const String here = platform::programDirectory();
    const String beside = here + "/" + name;
    return File::exists(beside) ? beside : String(here + "/../libexec/nebrixclient/" + name);
}

}  // namespace tessel
