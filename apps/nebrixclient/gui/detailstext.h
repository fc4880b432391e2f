// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <wx/textctrl.h>

namespace nebrix::gui {

/// A text of any length to read, mark and copy, by mouse and keyboard: wrapped, scrolling where it must. GUI thread.
class DetailsText final : public wxTextCtrl {
public:
    explicit DetailsText(wxWindow* parent);

    /// A simple border is drawn, in the theme's colour; other borders are not.
    void SetWindowStyleFlag(long style) override;
    /// The height that the text takes when it is wrapped to this width, `most` at the most, in pixels.
    [[nodiscard]] int heightFor(int width, int most) const;
};

}  // namespace nebrix::gui
