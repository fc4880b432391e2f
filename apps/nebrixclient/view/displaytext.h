// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/string.h"

/// Texts of others, of any length and with any bytes in them, as a window can show them. Any thread may call.
namespace tessel::view {

/// On one line of at most so many characters, of which a control character or a byte that is no UTF-8 may become four
/// (see printable.h): what breaks lines or cells becomes a blank, and of a longer text the middle is left out, for an
/// ellipsis. Costs no more than the result, however long the text is.
String forLabel(const String& text, unsigned most);

/// For a tool tip: lines of so many characters, forLabel() of at most `most` before that.
String forToolTip(const String& text, unsigned most, unsigned columns);

}  // namespace tessel::view
