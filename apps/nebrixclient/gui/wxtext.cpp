#include "apps/nebrixclient/gui/wxtext.h"

#include <wx/strconv.h>

namespace tessel {

String wxToTesselString(const wxString& text) {
    const wxCharBuffer bytes = text.mb_str(wxConvLibc);
    return bytes ? String::copy(bytes.data(), static_cast<unsigned>(bytes.length())) : String();
}

wxString tesselToWxString(const String& text) { return {text.array(), wxConvLibc, text.length()}; }

}  // namespace tessel
