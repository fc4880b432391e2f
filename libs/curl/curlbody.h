// SPDX-License-Identifier: Apache-2.0
#pragma once

// Internal to libs/curl.

#include "libs/curl/curleasy.h"

namespace tessel {

/// Where the body of one request goes.
struct CurlEasyWrapper::Body {
    IWriter& out;
    std::uint64_t limit;
    std::uint64_t received = 0;
    bool tooLong = false;
    bool requestTooLong = false;
};

}  // namespace tessel
