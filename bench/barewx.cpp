// SPDX-License-Identifier: Apache-2.0
// The least that a desktop program of this kind is: a frame with a few lines of text, on screen, and a tray icon.
#include <wx/app.h>
#include <wx/artprov.h>
#include <wx/frame.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/taskbar.h>

#include <memory>

namespace {

class BareApp final : public wxApp {
public:
    bool OnInit() override {
        m_icon = std::make_unique<wxTaskBarIcon>();
        m_icon->SetIcon(wxArtProvider::GetBitmapBundle(wxART_INFORMATION, wxART_OTHER), "bare");
        auto* const frame = new wxFrame(nullptr, wxID_ANY, "bare");
        auto* const rows = new wxBoxSizer(wxVERTICAL);
        rows->Add(new wxStaticText(frame, wxID_ANY, "bare"));
        rows->Add(new wxStaticText(frame, wxID_ANY, "connected"));
        frame->SetSizer(rows);
        return frame->Show();
    }
    int OnExit() override {
        m_icon.reset();
        return wxApp::OnExit();
    }

private:
    std::unique_ptr<wxTaskBarIcon> m_icon;
};

}  // namespace

wxIMPLEMENT_APP(BareApp);
