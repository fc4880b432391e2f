// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/artprovider.h"

#include <wx/bmpbndl.h>
#include <wx/filename.h>
#include <wx/iconbndl.h>
#include <wx/image.h>
#include <wx/stdpaths.h>

#include <array>
#include <cstdio>
#include <iterator>

namespace {

struct Image {
    const char* id;
    const char* stem;  // of the file's name
};

constexpr std::array kImages{
    Image{"nebrix-config", "config"}, Image{"nebrix-stop", "close"},          Image{"nebrix-logs", "log"},
    Image{"nebrix-vpn", "vpn"},       Image{"nebrix-plugin", "notification"}, Image{"tarn-tray-logo", "tarn-tray-logo"},
};

constexpr const char* kLogoId = "nebrix-logo";
constexpr const char* kLogoStem = "nebrixlogo";
constexpr int kSmallLogo = 16;
constexpr int kLargeLogo = 64;
constexpr std::array kTraySizes{16, 22, 24, 32, 48, 64};

const char* stemOf(const wxArtID& id) {
    for (const Image& image : kImages) {
        if (id == image.id) {
            return image.stem;
        }
    }
    return nullptr;
}

wxBitmap load(const wxString& directory, const wxString& name) {
    const wxFileName file(directory, name, "png");
    return file.FileExists() ? wxBitmap(file.GetFullPath(), wxBITMAP_TYPE_PNG) : wxNullBitmap;
}

/// The image and, where there is one, its form for twice the pixel density.
wxBitmapBundle bundleOf(const wxString& directory, const wxString& name) {
    const wxBitmap plain = load(directory, name);
    const wxBitmap dense = load(directory, name + "@2x");
    if (!plain.IsOk()) {
        return {};
    }
    return dense.IsOk() ? wxBitmapBundle::FromBitmaps(plain, dense) : wxBitmapBundle::FromBitmap(plain);
}

wxString sized(const wxString& stem, int size) { return wxString::Format("%s-%d", stem, size); }

int logoSize(const wxArtClient& client, const wxSize& size) {
    if (client == wxART_MESSAGE_BOX) {
        return kLargeLogo;
    }
    return size == wxDefaultSize ? kSmallLogo : size.GetWidth();
}

}  // namespace

void NebrixClientArtProvider::init() {
    wxImage::AddHandler(new wxPNGHandler);
    wxImage::AddHandler(new wxICOHandler);
}

wxString NebrixClientArtProvider::GetImageDirectory() {
    const wxStandardPaths& paths = wxStandardPaths::Get();
    wxFileName directory = wxFileName::DirName(paths.GetResourcesDir());
    directory.AppendDir("img");
    if (!directory.DirExists()) {
        wxFileName build(paths.GetExecutablePath());
        build.SetFullName(wxEmptyString);
        build.RemoveLastDir();
        build.AppendDir("img");
        if (build.DirExists()) {
            directory = build;
        }
    }
    const wxString path = directory.GetFullPath();
    std::printf("%s\n", static_cast<const char*>(path.utf8_str()));
    std::fflush(stdout);
    return path;
}

std::vector<wxBitmap> NebrixClientArtProvider::trayImages() {
    const wxString directory = GetImageDirectory();
    std::vector<wxBitmap> images;
    for (const int size : kTraySizes) {
        const wxBitmap image = load(directory, sized("tarn-tray-logo", size));
        if (image.IsOk()) {
            images.push_back(image);
        }
    }
    return images;
}

wxBitmap NebrixClientArtProvider::CreateBitmap(const wxArtID& id, const wxArtClient& client, const wxSize& size) {
    if (id.StartsWith(kLogoId)) {
        const int wanted = logoSize(client, size);
        const wxIcon icon = CreateIconBundle(id, client).GetIcon(wxSize(wanted, wanted), wxIconBundle::FALLBACK_SYSTEM);
        wxBitmap bitmap;
        if (icon.IsOk()) {
            bitmap.CopyFromIcon(icon);
        }
        return bitmap;
    }
    const char* const stem = stemOf(id);
    return stem != nullptr ? load(GetImageDirectory(), stem) : wxNullBitmap;
}

wxBitmapBundle NebrixClientArtProvider::CreateBitmapBundle(const wxArtID& id, const wxArtClient& client,
                                                           const wxSize& size) {
    if (id.StartsWith(kLogoId)) {
        return bundleOf(GetImageDirectory(), sized(kLogoStem, logoSize(client, size)));
    }
    const char* const stem = stemOf(id);
    return stem != nullptr ? bundleOf(GetImageDirectory(), stem) : wxBitmapBundle();
}

wxIconBundle NebrixClientArtProvider::CreateIconBundle(const wxArtID& id, const wxArtClient& /*client*/) {
    wxIconBundle icons;
    if (id == kLogoId) {
        const wxString directory = GetImageDirectory();
        for (const int size : {kSmallLogo, kLargeLogo}) {
            wxIcon icon;
            icon.CopyFromBitmap(load(directory, sized(kLogoStem, size)));
            if (icon.IsOk()) {
                icons.AddIcon(icon);
            }
        }
    }
    return icons;
}
