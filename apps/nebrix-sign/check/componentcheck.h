// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/nebrix-sign/check/contract.h"
#include "apps/nebrix-sign/componentkind.h"

namespace tessel::sign {

struct CheckOptions {
    std::string path;
    /// Nothing: what its entries tell. A plug-in that can open a resource is then checked with and without tunnel.
    std::optional<ComponentKind> kind{};
    bool valgrind = false;
    /// A file with what the component is given (givenvalues.h); empty: everything is made up.
    std::string values{};
};

/// What came out for one rule. The sentence says how the rule was broken, or why it was not checked.
struct Verdict {
    enum class Result { Ok, Failed, NotChecked };

    const RuleText* rule;
    Result result = Result::NotChecked;
    std::string sentence;
};
struct CheckReport {
    std::string path;
    /// What it was checked as: the names of its types in a configuration.
    std::vector<std::string> types;
    /// One for each rule, in their order.
    std::vector<Verdict> verdicts;

    [[nodiscard]] unsigned count(Verdict::Result result) const;
    /// Whether no rule failed.
    [[nodiscard]] bool passed() const { return count(Verdict::Result::Failed) == 0; }
};

/// Has the component live through all scenarios of its kind, each in a process of its own. That takes some seconds, and
/// a minute or two with valgrind. Raises ESign when nothing can be checked: no library, no component, no probe; and
/// probe::EGivenValues.
CheckReport checkComponent(const CheckOptions& options);

/// One line for each rule, then one on the whole.
std::string toText(const CheckReport& report);
/// A JSON document on lines of its own (docs/formats.md).
std::string toJson(const CheckReport& report);

}  // namespace tessel::sign
