// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "apps/nebrix-sign/check/statuslist.h"

namespace tessel::sign {

/// What one run of the probe brought to light.
struct Outcome {
    /// Whether the component lived through the whole scenario.
    bool completed = false;
    std::vector<Fault> faults;  // one of each rule at most
    /// Rules that the probe saw something of.
    std::set<probe::Rule> seen;
};

/// How the probe is started.
struct ProbeStart {
    /// The program and what stands before the probe's own arguments: a debugger's, or nothing.
    std::vector<std::string> wrapper{};
    std::vector<std::string> arguments;
    /// The rule that is broken by who throws or ends; without one, that of exceptions, or of ending.
    std::optional<probe::Rule> blame;
    /// What an entry's time is multiplied with.
    int patience = 1;
};

/// Starts the probe, hears it to its end, and kills it when an entry does not return in time. Raises ESign when there
/// is no probe, or it says nothing.
Outcome runProbe(const ProbeStart& start);

}  // namespace tessel::sign
