// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/string.h"

namespace tessel::http {

/// Where the parts lie in a text that the URI pattern (RFC 3986, appendix B) matches: the first byte of each and the
/// one behind its last. A part that is missing is an empty stretch.
struct UriGroups {
    struct Stretch {
        unsigned from;
        unsigned to;
    };
    Stretch scheme;
    Stretch authority;
    Stretch path;
    Stretch query;
    Stretch fragment;
};

/// Matches the whole text, as bytes, and fills the groups; false when it does not match. The pattern is compiled on
/// the first call and kept for the process. Any thread may call, before main() and after it. Time in line with the
/// text's length. Raises std::bad_alloc without memory.
bool matchUri(const String& text, UriGroups& groups);

}  // namespace tessel::http
