// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace tessel {

/// Where an exception says that it was raised: a source path in this tree, without its ending, and a line.
///
/// Both are shown to users and read by administrators, so they are data and not `__FILE__`/`__LINE__`:
/// formatting or moving code changes nothing that can be observed. Each module keeps its sites in one table.
struct RaiseSite {
    const char* file;
    int line;
};

}  // namespace tessel
