// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "apps/nebrix-demo-gateway/options.h"

namespace tessel::gateway {

/// What the program's command line asks for.
struct ProgramArguments {
    GatewayOptions options;
    /// To be printed instead of serving, when not empty ("--help", "--version").
    std::string text;
    /// What is wrong with the command line, when not empty.
    std::string error;
};

/// The folder is where the reference components lie by default. The words come without the program's name.
ProgramArguments parseArguments(const std::vector<std::string>& words, const std::string& componentsFolder);

}  // namespace tessel::gateway
