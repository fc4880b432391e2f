// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/versiontext.h"

#include "apps/nebrixclient/version.h"
#include "generated/component_public_key.h"

namespace tessel {

std::string versionText(const char* program) {
    return std::string(program) + " " + kClientVersion + "\ncomponents are verified against " +
           (kComponentPublicKeyIsDevelopment ? "the DEVELOPMENT key, whose private half is public"
                                             : "the key chosen when this program was built");
}

}  // namespace tessel
