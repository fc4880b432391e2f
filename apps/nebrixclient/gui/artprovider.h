// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <wx/artprov.h>

#include <vector>

/// Supplies every image of the windows by its fixed id, from files; an image whose file is missing is empty, and an id
/// that is none of ours is left to the standard providers. GUI thread.
class NebrixClientArtProvider final : public wxArtProvider {
public:
    /// Registers the image formats; once, before the provider is pushed.
    static void init();
    /// Where the image files lie: below the program's resources, else beside the build that the program runs from.
    /// Also written to standard output, with a line feed.
    static wxString GetImageDirectory();
    /// The tray's image in every size there is a file of, smallest first.
    static std::vector<wxBitmap> trayImages();

protected:
    wxBitmap CreateBitmap(const wxArtID& id, const wxArtClient& client, const wxSize& size) override;
    wxBitmapBundle CreateBitmapBundle(const wxArtID& id, const wxArtClient& client, const wxSize& size) override;
    wxIconBundle CreateIconBundle(const wxArtID& id, const wxArtClient& client) override;
};
