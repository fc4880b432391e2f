// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-sign/author/commands.h"

namespace tessel::sign {

using commandline::Grammar;

Grammar newGrammar() {
    return {
        .program = "nebrix-sign new",
        .operands = "tunnel|notunnel|hostchecker NAME [DIRECTORY]",
        .summary =
            "Writes the start of a component into a new directory, NAME by default: one C source that keeps the "
            "whole contract, the header, a Makefile and a CMakeLists.txt. \"make try\" there builds it and runs it.",
        .options = {{.name = "help", .letter = 'h', .help = "prints this text"}},
        .fewestOperands = 2,
        .mostOperands = 3};
}

Grammar tryGrammar() {
    return {
        .program = "nebrix-sign try",
        .operands = "LIBRARY",
        .summary =
            "Runs a session with the component on this machine: signs it, serves it from a gateway on loopback, lets "
            "the headless client open it, and then tells what the gateway was asked and what the component said.",
        .options = {{.name = "type",
                     .letter = 't',
                     .value = "TYPE",
                     .help =
                         "the component's type: plugindll, plugindllnotunnel or hostchecker; what its entries tell by "
                         "default"},
                    {.name = "key",
                     .letter = 'k',
                     .value = "PRIVATE",
                     .help = "PEM file of the private key whose public half the client was built with; the "
                             "development key by default"},
                    {.name = "signed", .help = "serves LIBRARY.sig as it is and signs nothing"},
                    {.name = "version", .value = "VERSION", .help = "the version to sign; 1.0.0 by default"},
                    {.name = "client",
                     .value = "PROGRAM",
                     .help = "the headless client; nebrixclient-cli beside this program or in PATH by default"},
                    {.name = "home",
                     .value = "DIR",
                     .help = "the client's home directory, which stays; by default one that does not"},
                    {.name = "request", .value = "TEXT", .help = "what a host checker is asked"},
                    {.name = "seconds", .letter = 's', .value = "N", .help = "ends the session after so many"},
                    {.name = "debugger",
                     .letter = 'd',
                     .help = "the component's process waits for a debugger; the log has its number"},
                    {.name = "help", .letter = 'h', .help = "prints this text"}},
        .fewestOperands = 1,
        .mostOperands = 1,
        .epilogue = "Exit status: the client's own.\n"};
}

Grammar serveGrammar() {
    return {
        .program = "nebrix-sign serve",
        .operands = "DIRECTORY",
        .summary =
            "Serves the components of a directory that have a signature file beside them, at most one of each "
            "type, from a gateway on loopback until SIGINT or SIGTERM: those that are there at the start, as they are "
            "then.",
        .options = {{.name = "port", .letter = 'p', .value = "PORT", .help = "the port; a free one by default"},
                    {.name = "client-id",
                     .value = "ID",
                     .help = "the client identifier of the links; random by default"},
                    {.name = "help", .letter = 'h', .help = "prints this text"}},
        .fewestOperands = 1,
        .mostOperands = 1};
}

}  // namespace tessel::sign
