// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-sign/grammars.h"

namespace tessel::sign {

namespace {

using commandline::Grammar;

constexpr commandline::Option kHelp{.name = "help", .letter = 'h', .help = "prints this text"};

}  // namespace

Grammar keygenGrammar() {
    return {.program = "nebrix-sign keygen",
            .operands = "PRIVATE PUBLIC",
            .summary =
                "Makes an RSA key pair of 2048 bits and writes its halves as PEM files, the private one for its "
                "owner alone. The public one is what a client is built with.",
            .options = {{.name = "force", .letter = 'f', .help = "replaces files that are there already"}, kHelp},
            .fewestOperands = 2,
            .mostOperands = 2};
}

Grammar signGrammar() {
    return {
        .program = "nebrix-sign sign",
        .operands = "LIBRARY",
        .summary =
            "Signs a component library: writes LIBRARY.sig with its digest, the current time and the "
            "signature. What is no shared library, or lacks a required entry, is refused.",
        .options =
            {{.name = "key", .letter = 'k', .value = "PRIVATE", .help = "PEM file of the private key"},
             {.name = "development",
              .help = "signs with the development key, which everybody has, for clients that were built with it"},
             {.name = "password-file",
              .value = "FILE",
              .help = "a file whose first line is the password of an encrypted key, which the terminal is asked for "
                      "otherwise"},
             {.name = "name", .value = "NAME", .help = "the component's name; the file's by default"},
             {.name = "version", .value = "VERSION", .help = "the component's version; 1.0.0 by default"},
             {.name = "type",
              .letter = 't',
              .value = "TYPE",
              .help = "the component's type: plugindll, plugindllnotunnel or hostchecker; what its entries tell by "
                      "default"},
             {.name = "force", .letter = 'f', .help = "signs what is refused otherwise, with a warning"},
             kHelp},
        .fewestOperands = 1,
        .mostOperands = 1};
}

Grammar verifyGrammar() {
    return {
        .program = "nebrix-sign verify",
        .operands = "LIBRARY",
        .summary =
            "Checks a library against LIBRARY.sig and a public key, and says of the digest and of the "
            "signature whether they hold.",
        .options = {{.name = "key", .letter = 'k', .value = "PUBLIC", .help = "PEM file of the public key; required"},
                    kHelp},
        .fewestOperands = 1,
        .mostOperands = 1};
}

Grammar packGrammar() {
    return {
        .program = "nebrix-sign pack",
        .operands = "LIBRARY",
        .summary =
            "Packs LIBRARY and LIBRARY.sig into a ZIP archive and prints the JSON object that a gateway's "
            "configuration announces it with. Refused is a library that was altered since it was signed.",
        .options = {{.name = "key",
                     .letter = 'k',
                     .value = "PUBLIC",
                     .help = "PEM file of a public key: refuses a signature that was not made with it"},
                    {.name = "output", .letter = 'o', .value = "FILE", .help = "the archive; LIBRARY.zip by default"},
                    {.name = "version",
                     .value = "VERSION",
                     .help = "the version to announce, which must be the signed one; that one by default"},
                    {.name = "urlpath",
                     .value = "PATH",
                     .help = "what the archive's name follows in its URL; /components/ by default"},
                    kHelp},
        .fewestOperands = 1,
        .mostOperands = 1};
}

}  // namespace tessel::sign
