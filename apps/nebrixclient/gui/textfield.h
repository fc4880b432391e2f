// SPDX-License-Identifier: Apache-2.0
#pragma once

class wxTextCtrl;
class wxWindow;

namespace nebrix::gui {

/// A one-line text field that asks for so many average characters, or what the screen has room for, and for the height
/// that suits the system's font.
wxTextCtrl* makeTextField(wxWindow* parent, int columns, long style = 0);

}  // namespace nebrix::gui
