// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/view/instancekey.h"

#include "apps/nebrixclient/view/whitespace.h"
#include "libs/base/base64.h"
#include "libs/openssl/digest.h"

namespace tessel::view {

String instanceKey(const String& argument) {
    tls::SHA1 digest;
    digest.feed(argument);
    return Base64::encode(digest.result()).replace('/', '_');
}

String instanceLockName(const String& argument) { return "nebrixclient:" + instanceKey(argument); }

bool coreDumpsWanted(const String& environmentValue) noexcept { return withoutTrailingSpace(environmentValue) == "1"; }

}  // namespace tessel::view
