// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/modalstack.h"

namespace nebrix::gui {

int ModalStack::Enter(wxDialog* dialog) {
    m_dialogs.push_back(dialog);
    tell();
    return wxID_NONE;
}

void ModalStack::Exit(wxDialog* dialog) {
    std::erase(m_dialogs, dialog);
    tell();
}

void ModalStack::tell() const {
    if (m_changed) {
        m_changed();
    }
}

}  // namespace nebrix::gui
