// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

#include "apps/nebrix-component-probe/rules.h"
#include "libs/base/string.h"

namespace tessel::sign {

/// A rule that was broken, and how: a sentence for the component's author, without a full stop.
struct Fault {
    probe::Rule rule;
    std::string sentence;
};
using TellFault = std::function<void(const Fault& fault)>;

/// Compares what DllGetErrors2 returned with the status list of the contract. Codes and members that the contract does
/// not know are passed over, as clients do.
void judgeStatusList(const String& text, const TellFault& tell);
/// The same of a log text.
void judgeLog(const String& text, const TellFault& tell);

}  // namespace tessel::sign
