// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <wx/stattext.h>

class wxTopLevelWindow;

namespace nebrix::gui {

/// A text that breaks its lines to the width it is given, within words where nothing else helps, and that asks for
/// the height this takes. GUI thread.
class WrappedText final : public wxStaticText {
public:
    /// `columns`: the width it asks for, in average characters of its font, as far as the screen has room for them.
    WrappedText(wxWindow* parent, const wxString& text, int columns);

    /// Breaks the lines to this many pixels; whether the wanted height has changed. The layout is the caller's.
    bool wrapTo(int width);

protected:
    wxSize DoGetBestSize() const override;

private:
    int m_width;  // pixels
};

/// Gives the window the size its content wants, with every wrapped text in it broken to the width that it really gets.
void fitWrapped(wxTopLevelWindow& window);
/// The largest client area that a window with decorations can have on the screen.
wxSize roomOnScreen();
/// Breaks them anew after the window's size has changed.
void rewrap(wxTopLevelWindow& window);

}  // namespace nebrix::gui
