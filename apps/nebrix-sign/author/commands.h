// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iosfwd>

#include "apps/common/commandline.h"

/// The commands for authors of components, each with its grammar. They return the program's exit status and raise
/// ESign.
namespace tessel::sign {

commandline::Grammar newGrammar();
commandline::Grammar tryGrammar();
commandline::Grammar serveGrammar();

int newComponent(const commandline::Arguments& arguments, std::ostream& out, std::ostream& err);
int tryComponent(const commandline::Arguments& arguments, std::ostream& out, std::ostream& err);
int serveComponents(const commandline::Arguments& arguments, std::ostream& out, std::ostream& err);

}  // namespace tessel::sign
