// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/string.h"

namespace tessel::tls {

class TLS {
public:
    /// The version text of the OpenSSL library that the program runs with.
    static String getOpensslVersion();
};

}  // namespace tessel::tls
