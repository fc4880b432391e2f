// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "apps/common/commandline.h"

/// What the program's help says: one text for the whole, and the grammar of each command.
namespace tessel::sign {

inline constexpr std::string_view kOverview =
    "usage: nebrix-sign COMMAND [options] OPERANDS\n"
    "Signs component libraries, checks them and packs them for a gateway; helps to begin\n"
    "one and to try it.\n"
    "\n"
    "Commands:\n"
    "  keygen PRIVATE PUBLIC   makes an RSA key pair, two PEM files\n"
    "  sign LIBRARY            writes the signature file LIBRARY.sig\n"
    "  verify LIBRARY          checks a library and its signature file\n"
    "  pack LIBRARY            packs both into an archive and prints what to announce\n"
    "  check LIBRARY           checks a library against the components' contract\n"
    "  new KIND NAME           writes the start of a component: tunnel, notunnel, hostchecker\n"
    "  try LIBRARY             runs a session with it, with a gateway and the client here\n"
    "  serve DIRECTORY         serves the signed components of a directory on loopback\n"
    "\n"
    "\"nebrix-sign COMMAND --help\" tells more about each. \"--version\" prints the version.\n"
    "\n"
    "Exit status: 0 done, or the library is genuine; 1 failed, or it is not; 2 the\n"
    "command line is wrong; 3 nothing could be checked.\n";

commandline::Grammar keygenGrammar();
commandline::Grammar signGrammar();
commandline::Grammar verifyGrammar();
commandline::Grammar packGrammar();

}  // namespace tessel::sign
