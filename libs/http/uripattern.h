#pragma once

#include <array>

#include "libs/base/string.h"

namespace tessel::http {

/// Where the nine groups of the URI pattern (RFC 3986, appendix B) lie in a text: [2i] and [2i + 1] are the first byte
/// of group i and the one behind its last, both npos for a group that took no part. Group 0 is the whole match.
using UriGroups = std::array<std::size_t, 20>;

/// Matches the whole text, as bytes, and fills the groups; false when it does not match. The pattern is compiled on
/// the first call and kept for the process. Any thread may call, before main() and after it. Time in line with the
/// text's length.
bool matchUri(const String& text, UriGroups& groups);

}  // namespace tessel::http
