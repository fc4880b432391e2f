// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iosfwd>

#include "apps/common/commandline.h"

namespace tessel::sign {

/// The command "check". Exit status: 0 no rule failed, 1 one did, 2 the command line is wrong, 3 nothing can be
/// checked.
commandline::Grammar checkGrammar();
int check(const commandline::Arguments& arguments, std::ostream& out, std::ostream& err);

}  // namespace tessel::sign
