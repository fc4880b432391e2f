// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <span>

#include "apps/nebrix-component-probe/rules.h"

/// What is checked of the contract (sdk/include/nebrix_component.h), as data.
namespace tessel::sign {

using probe::Rule;

/// Kinds of components, as a bit set.
enum Kinds : unsigned { kTunnel = 1, kResource = 2, kHostChecker = 4, kPlugins = 3, kAll = 7 };

struct RuleText {
    /// As the header has it.
    const char* number;
    /// What a component of these kinds does that keeps it.
    const char* title;
    Kinds kinds;
    Rule rule;
};
/// One for each rule, in the order of their numbers.
std::span<const RuleText> ruleTexts();

/// One run of the probe: a scenario that it knows.
struct Step {
    const char* scenario;
    Kinds kinds;
    /// The rule that a component breaks which throws or ends here; none for the plain session, in which each of that is
    /// a rule of its own. The plain session comes first, and without it nothing else can be checked.
    std::optional<Rule> blame;
    /// Whether it opens several sessions in one process, which says nothing of a component that cannot serve them.
    bool several;
    /// What is known to be kept when nothing was told against it.
    std::span<const Rule> rules;
};
std::span<const Step> steps();

}  // namespace tessel::sign
