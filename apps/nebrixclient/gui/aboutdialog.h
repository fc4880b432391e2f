// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "apps/nebrixclient/gui/aboutdialogbase.h"

/// Shows the program's name, version and maker. For one modal run; ends with 0 by its button and Escape. GUI thread.
class NebrixClientAboutDialog final : public AboutDialog {
public:
    explicit NebrixClientAboutDialog(wxWindow* parent);

protected:
    void onClose(wxCommandEvent& event) override;
};
