// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <wx/object.h>
#include <wx/timer.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "apps/nebrixclient/gui/backgroundworker.h"
#include "apps/nebrixclient/gui/logmodel.h"
#include "apps/nebrixclient/gui/logreader.h"
#include "apps/nebrixclient/gui/logwindowbase.h"

class wxDialog;

/// Shows a log file, its newest lines first loaded, and follows it as it grows: find, filter by category, copy, save.
///
/// An ordinary window, made with new and not shown yet; it destroys itself when it is closed (hold it by a wxWeakRef)
/// or with its parent. The file is only read by the worker, a bounded part of it is held (see LogTail). GUI thread.
class NebrixClientLogWindow final : public LogWindow {
public:
    /// `worker` must outlive the window.
    NebrixClientLogWindow(wxWindow* parent, const wxString& path, nebrix::gui::BackgroundWorker& worker);

    /// While its file dialog is open it only hides and asks that dialog to end, and goes after it.
    bool Destroy() override;

protected:
    void onFindNext(wxCommandEvent& event) override;
    void onFocusFind(wxCommandEvent& event) override;
    void onCategory(wxCommandEvent& event) override;
    void onFollow(wxCommandEvent& event) override;
    void onCopy(wxCommandEvent& event) override;
    void onSaveAs(wxCommandEvent& event) override;
    void onEarlier(wxCommandEvent& event) override;
    void onLater(wxCommandEvent& event) override;
    void onSelection(wxDataViewEvent& event) override;
    void onCloseCommand(wxCommandEvent& event) override;

private:
    using Numbers = std::vector<std::int64_t>;

    void onShow(wxShowEvent& event);
    void receive(const nebrix::gui::LogSnapshot& snapshot);
    void restore(const Numbers& selected, std::optional<std::int64_t> top);
    void showFound(std::optional<nebrix::gui::LogReader::FoundLine> found);
    /// Says what became of a command, for a while; an empty text takes the last one away.
    void tell(const wxString& text);
    [[nodiscard]] wxString askForTarget();
    [[nodiscard]] wxString wholeLine(std::size_t row) const;
    void showNewest();
    void describe();
    [[nodiscard]] std::vector<std::size_t> selectedRows() const;  // ascending

    const wxString m_path;
    nebrix::gui::BackgroundWorker& m_worker;
    nebrix::gui::GuiCalls m_calls;
    std::shared_ptr<nebrix::gui::LogReader> m_reader;
    wxObjectDataPtr<nebrix::gui::LogModel> m_model;
    wxTimer m_timer;
    wxTimer m_messageTimer;
    wxDialog* m_dialog = nullptr;  // the one that runs over this window
    bool m_destroyed = false;      // Destroy() was called while it did
};
