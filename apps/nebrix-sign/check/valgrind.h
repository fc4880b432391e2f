// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/nebrix-sign/check/statuslist.h"

namespace tessel::sign {

/// The program and its arguments that the probe is run by, so that what it finds is written to the file.
std::vector<std::string> valgrindCommand(const std::string& logFile);
/// What valgrind(1) found in such a file: the first memory error, and the first of the blocks that were lost, each with
/// the number of all. Nothing when it was cut short. Raises ESign when there is no such file.
std::optional<std::vector<Fault>> readValgrindLog(const std::string& logFile);

}  // namespace tessel::sign
