#pragma once

#include <wx/modalhook.h>

#include <vector>

namespace nebrix::gui {

/// Knows which dialogs run modally, the native ones too, the innermost last. GUI thread.
class ModalStack final : public wxModalDialogHook {
public:
    ModalStack() { Register(); }
    ~ModalStack() override { Unregister(); }
    ModalStack(const ModalStack&) = delete;
    ModalStack& operator=(const ModalStack&) = delete;

    /// The innermost, or null.
    [[nodiscard]] wxDialog* top() const { return m_dialogs.empty() ? nullptr : m_dialogs.back(); }

protected:
    int Enter(wxDialog* dialog) override;
    void Exit(wxDialog* dialog) override;

private:
    std::vector<wxDialog*> m_dialogs;
};

}  // namespace nebrix::gui
