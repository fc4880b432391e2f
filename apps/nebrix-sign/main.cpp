// SPDX-License-Identifier: Apache-2.0
#include <iostream>

#include "apps/nebrix-sign/commands.h"

int main(int argc, char* argv[]) {
    return tessel::sign::run({argv + (argc > 0 ? 1 : 0), argv + argc}, std::cout, std::cerr);
}
