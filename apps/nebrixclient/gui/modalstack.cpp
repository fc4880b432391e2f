#include "apps/nebrixclient/gui/modalstack.h"

namespace nebrix::gui {

int ModalStack::Enter(wxDialog* dialog) {
    m_dialogs.push_back(dialog);
    return wxID_NONE;
}

void ModalStack::Exit(wxDialog* dialog) { std::erase(m_dialogs, dialog); }

}  // namespace nebrix::gui
