// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <wx/string.h>

#include "libs/base/string.h"

namespace tessel {

/// Texts between the windows and the toolkit, in both directions through the C library's multibyte conversion
/// (which start-up makes UTF-8). What cannot be converted gives an empty text. Any thread.
String wxToTesselString(const wxString& text);
wxString tesselToWxString(const String& text);

}  // namespace tessel
