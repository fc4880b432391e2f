// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "apps/nebrix-component-probe/session.h"

namespace tessel::probe {

/// One way to drive a component through its life; what goes wrong is told to the stage's report, or thrown.
struct Scenario {
    const char* name;
    void (*play)(Stage& stage);
};

/// The scenario of this name; null for none.
const Scenario* scenarioNamed(std::string_view name) noexcept;

}  // namespace tessel::probe
