// SPDX-License-Identifier: Apache-2.0
#pragma once

class wxTopLevelWindow;

namespace nebrix::gui {

/// The outline of a small window without decorations: round corners, the window's background colour and an edge a
/// little apart from it, whatever the theme. Where a compositor runs the corners are transparent; elsewhere, also when
/// it comes or goes, they are cut out by a shape. Texts in the window keep their full contrast, although it never is
/// the active one.
///
/// Construct it once, before the window is shown; the window outlives it. GUI thread.
class PanelFrame {
public:
    explicit PanelFrame(wxTopLevelWindow& window);
    PanelFrame(const PanelFrame&) = delete;
    PanelFrame& operator=(const PanelFrame&) = delete;
    ~PanelFrame();

    /// After the window's size has changed.
    void reshape();

private:
    wxTopLevelWindow& m_window;
};

}  // namespace nebrix::gui
