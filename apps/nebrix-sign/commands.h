// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace tessel::sign {

/// The program's command line without its name: a command and its words. Writes results to `out` and complaints to
/// `err`. Returns the exit status: 0 done (for "verify": genuine), 1 failed, 2 the command line is wrong,
/// 3 there is nothing that "check" could check. Never raises.
int run(const std::vector<std::string>& words, std::ostream& out, std::ostream& err) noexcept;

}  // namespace tessel::sign
