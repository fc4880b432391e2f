// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <wx/string.h>

class wxDialog;
class wxTopLevelWindow;
class wxWindow;
class wxStaticText;

namespace nebrix::gui {

/// Tells screen readers (AT-SPI) the control's name; a mnemonic's '&' in it is dropped. For a control that is built of
/// several widgets it is the one that takes the keyboard. GUI thread.
void setAccessibleName(wxWindow& window, const wxString& name);

/// Makes the label the control's: its mnemonic moves the focus there, and its text is the control's accessible name.
/// GUI thread.
void setLabelFor(wxStaticText& label, wxWindow& control);

/// Has the window announced as a dialog, which is read out whole, rather than as a frame. GUI thread.
void announceAsDialog(wxDialog& dialog);

/// Has the window announced as a notification of this name: one that comes by itself and takes no keyboard. GUI thread.
void announceAsNotification(wxTopLevelWindow& window, const wxString& name);

/// Has a screen reader say the text, as news of the window; nothing where the accessibility library cannot (it can from
/// ATK 2.46 on). GUI thread.
void announce(wxWindow& window, const wxString& text);

}  // namespace nebrix::gui
