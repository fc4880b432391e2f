// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>
#include <span>

#include "libs/base/string.h"

namespace tessel::view {

/// The code of the language to show texts in, one of `languages`: the requested one if it is exactly one of them, else
/// the system's as it is spoken in its country ("pt_BR") or at all ("pt"), else "en". Why it is not the one before is
/// logged. Any thread may call it.
///
/// `systemLocale` gives the system locale's canonical name, such as "fr_FR" or "de", or nothing when it cannot be
/// found; it is asked only when the request decides nothing.
String selectLanguage(const String& requested, std::span<const char* const> languages,
                      const std::function<std::optional<String>()>& systemLocale);

}  // namespace tessel::view
