// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <wx/string.h>

#include <functional>

class wxDataViewCtrl;

namespace nebrix::gui {

/// Gives each row of a list, not a tree, a tool tip, which the keyboard's shortcut for tool tips shows as well. `text`
/// is asked on the GUI thread when one is due, with the number of a row; what it raises is logged.
void giveRowsTips(wxDataViewCtrl& list, std::function<wxString(unsigned row)> text);

}  // namespace nebrix::gui
