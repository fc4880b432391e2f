// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/wxtext.h"

#include <wx/strconv.h>

namespace tessel {

String wxToTesselString(const wxString& text) { return String::copy(text.ToStdString(wxConvLibc)); }

wxString tesselToWxString(const String& text) { return {text.array(), wxConvLibc, text.length()}; }

}  // namespace tessel
