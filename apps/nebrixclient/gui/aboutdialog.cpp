// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/aboutdialog.h"

#include <wx/intl.h>
#include <wx/sizer.h>
#include <wx/stattext.h>

#include "apps/nebrixclient/version.h"

namespace {

constexpr const char* kVendor = "Nebrix";
constexpr int kYear = 2023;

}  // namespace

NebrixClientAboutDialog::NebrixClientAboutDialog(wxWindow* parent) : AboutDialog(parent, _("TarnClient")) {
    m_version->SetLabel(tessel::kClientVersion);
    m_copyright->SetLabel(wxString::Format(L"\u00A9 %s %d", kVendor, kYear));
    GetSizer()->SetSizeHints(this);
}

void NebrixClientAboutDialog::onClose(wxCommandEvent&) { EndModal(0); }
