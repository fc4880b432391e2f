// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <wx/modalhook.h>

#include <functional>
#include <vector>

namespace nebrix::gui {

/// Knows which dialogs run modally, the native ones too, the innermost last. GUI thread.
class ModalStack final : public wxModalDialogHook {
public:
    /// `changed` is called when a dialog begins or ends its run, from within that.
    explicit ModalStack(std::function<void()> changed = {}) : m_changed(std::move(changed)) { Register(); }
    ~ModalStack() override { Unregister(); }
    ModalStack(const ModalStack&) = delete;
    ModalStack& operator=(const ModalStack&) = delete;

    /// The innermost, or null.
    [[nodiscard]] wxDialog* top() const { return m_dialogs.empty() ? nullptr : m_dialogs.back(); }

protected:
    int Enter(wxDialog* dialog) override;
    void Exit(wxDialog* dialog) override;

private:
    void tell() const;

    const std::function<void()> m_changed;
    std::vector<wxDialog*> m_dialogs;
};

}  // namespace nebrix::gui
