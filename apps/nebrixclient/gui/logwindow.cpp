// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/logwindow.h"

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/choice.h>
#include <wx/clipbrd.h>
#include <wx/dataview.h>
#include <wx/filedlg.h>
#include <wx/filename.h>
#include <wx/intl.h>
#include <wx/stattext.h>
#include <wx/stdpaths.h>
#include <wx/textctrl.h>

#include <algorithm>

#include "apps/nebrixclient/gui/desktop.h"
#include "apps/nebrixclient/gui/filecopy.h"
#include "apps/nebrixclient/gui/rowtips.h"
#include "apps/nebrixclient/gui/wrappedtext.h"
#include "apps/nebrixclient/gui/wxtext.h"
#include "apps/nebrixclient/view/displaytext.h"

using nebrix::gui::LogSnapshot;
using tessel::view::LogLine;

namespace {

constexpr int kPollInterval = 500;     // milliseconds
constexpr int kMessageShown = 10'000;  // milliseconds

// Characters of a line's tool tip and of a line in it.
constexpr unsigned kLongestTip = 2000;
constexpr int kTipColumns = 80;

void copyToClipboard(const wxString& text) {
    wxClipboardLocker clipboard;
    if (!!clipboard) {
        wxTheClipboard->SetData(new wxTextDataObject(text));
    }
}

}  // namespace

NebrixClientLogWindow::NebrixClientLogWindow(wxWindow* parent, const wxString& path,
                                             nebrix::gui::BackgroundWorker& worker)
    : LogWindow(parent, _("LOG_TITLE")),
      m_path(path),
      m_worker(worker),
      m_reader(std::make_shared<nebrix::gui::LogReader>(tessel::wxToTesselString(path), worker, m_calls.sender(),
                                                        [this](const LogSnapshot& snapshot) { receive(snapshot); })),
      m_model(new nebrix::gui::LogModel) {
    m_list->AssociateModel(m_model.get());
    nebrix::gui::giveRowsTips(*m_list, [this](unsigned row) { return wholeLine(row); });
    m_timer.Bind(wxEVT_TIMER, [this](wxTimerEvent& /*event*/) { m_reader->poll(); });
    m_messageTimer.Bind(wxEVT_TIMER, [this](wxTimerEvent& /*event*/) { tell(wxString()); });
    Bind(wxEVT_SHOW, &NebrixClientLogWindow::onShow, this);
}

bool NebrixClientLogWindow::Destroy() {
    if (m_dialog == nullptr) {
        return LogWindow::Destroy();
    }
    m_destroyed = true;
    Hide();
    nebrix::gui::desktop::endModal(*m_dialog);
    return true;
}

void NebrixClientLogWindow::tell(const wxString& text) {
    m_message->SetLabelText(text);
    m_message->SetToolTip(text);
    if (!text.empty()) {
        m_messageTimer.StartOnce(kMessageShown);
    }
}

void NebrixClientLogWindow::onShow(wxShowEvent& event) {
    if (event.IsShown()) {
        m_reader->poll();
        m_timer.Start(kPollInterval);
    } else {
        m_timer.Stop();
    }
    event.Skip();
}

/// As it stands in the file, broken to what the screen has room for.
wxString NebrixClientLogWindow::wholeLine(std::size_t row) const {
    const LogSnapshot& now = m_model->snapshot();
    if (row >= now.size()) {
        return {};
    }
    const int columns = std::min(kTipColumns, nebrix::gui::roomOnScreen().x * 4 / 5 / GetCharWidth());
    const tessel::String line = tessel::view::asText({now.shown->line(row)}).trim();
    return nebrix::gui::logText(
        tessel::view::forToolTip(line, kLongestTip, static_cast<unsigned>(std::max(columns, 1))));
}

void NebrixClientLogWindow::receive(const LogSnapshot& snapshot) {
    const LogSnapshot before = m_model->snapshot();
    Numbers selected;
    std::optional<std::int64_t> top;
    if (!snapshot.restarted && before.size() > 0) {
        for (const std::size_t row : selectedRows()) {
            selected.push_back(before.number(row));
        }
        const wxDataViewItem item = m_list->GetTopItem();
        if (item.IsOk()) {
            top = before.number(std::min<std::size_t>(m_model->GetRow(item), before.size() - 1));
        }
    }
    const bool follow = m_follow->GetValue();
    if (!m_model->show(snapshot)) {
        restore(selected, top);
    }
    m_follow->SetValue(follow);  // lines that come and go are no selection of the user's
    if (follow) {
        showNewest();
    }
    m_earlier->Enable(snapshot.startsLater);
    m_later->Enable(snapshot.endsEarlier);
    describe();
}

void NebrixClientLogWindow::restore(const Numbers& selected, std::optional<std::int64_t> top) {
    const LogSnapshot& now = m_model->snapshot();
    wxDataViewItemArray items;
    for (const std::int64_t number : selected) {
        const std::size_t row = now.row(number);
        if (row < now.size() && now.number(row) == number) {
            items.push_back(m_model->GetItem(static_cast<unsigned>(row)));
        }
    }
    m_list->SetSelections(items);
    m_copy->Enable(!items.empty());
    if (top && now.size() > 0) {
        // Down to the end and up again: so the line comes to the top.
        showNewest();
        const std::size_t row = std::min(now.row(*top), now.size() - 1);
        m_list->EnsureVisible(m_model->GetItem(static_cast<unsigned>(row)));
    }
}

void NebrixClientLogWindow::showNewest() {
    const std::size_t rows = m_model->snapshot().size();
    if (rows > 0) {
        m_list->EnsureVisible(m_model->GetItem(static_cast<unsigned>(rows - 1)));
    }
}

void NebrixClientLogWindow::describe() {
    const LogSnapshot& now = m_model->snapshot();
    m_status->SetLabelText(now.readable ? wxString::Format(_("LOG_LINES %s"), wxString::Format("%zu", now.size()))
                                        : wxString::Format(_("LOG_NOT_READABLE %s"), m_path));
}

std::vector<std::size_t> NebrixClientLogWindow::selectedRows() const {
    wxDataViewItemArray items;
    m_list->GetSelections(items);
    std::vector<std::size_t> rows;
    rows.reserve(items.size());
    for (const wxDataViewItem& item : items) {
        const std::size_t row = m_model->GetRow(item);
        if (row < m_model->snapshot().size()) {
            rows.push_back(row);
        }
    }
    std::sort(rows.begin(), rows.end());
    return rows;
}

void NebrixClientLogWindow::onFindNext(wxCommandEvent&) {
    tell(wxString());
    const std::vector<std::size_t> rows = selectedRows();
    std::optional<std::int64_t> behind;
    if (!rows.empty()) {
        behind = m_model->snapshot().number(rows.back());
    }
    m_reader->find(tessel::wxToTesselString(m_find->GetValue()), behind,
                   [this](std::optional<nebrix::gui::LogReader::FoundLine> found) { showFound(found); });
}

void NebrixClientLogWindow::showFound(std::optional<nebrix::gui::LogReader::FoundLine> found) {
    const LogSnapshot& now = m_model->snapshot();
    const std::size_t row = found ? now.row(found->number) : now.size();
    if (row >= now.size() || now.number(row) != found->number) {
        tell(_("LOG_NOT_FOUND"));
        return;
    }
    tell(wxString::Format(_("LOG_FOUND %s"),
                          wxString::Format("%llu", static_cast<unsigned long long>(found->lineOfFile))));
    // Else the next line of the log would lead away from it.
    m_follow->SetValue(false);
    const wxDataViewItem item = m_model->GetItem(static_cast<unsigned>(row));
    m_list->UnselectAll();
    m_list->SetCurrentItem(item);
    m_list->Select(item);
    m_list->EnsureVisible(item);
    m_copy->Enable();
}

void NebrixClientLogWindow::onFocusFind(wxCommandEvent&) {
    m_find->SetFocus();
    m_find->SelectAll();
}

void NebrixClientLogWindow::onCategory(wxCommandEvent&) {
    tell(wxString());
    const int chosen = m_category->GetSelection();
    m_reader->setCategory(chosen <= 0 ? tessel::view::LogFilter::kAllCategories : chosen - 1);
}

void NebrixClientLogWindow::onFollow(wxCommandEvent&) {
    if (m_follow->GetValue()) {
        tell(wxString());
        m_list->UnselectAll();
        m_reader->newest();
        showNewest();
    }
}

void NebrixClientLogWindow::onCopy(wxCommandEvent&) {
    std::vector<LogLine> lines;
    for (const std::size_t row : selectedRows()) {
        lines.push_back(m_model->snapshot().shown->line(row));
    }
    if (lines.empty()) {
        return;
    }
    // Put together by the worker: it may be much.
    m_worker.post([lines = std::move(lines), calls = m_calls.sender()] {
        calls.post([text = nebrix::gui::logText(tessel::view::asText(lines))] { copyToClipboard(text); });
    });
}

void NebrixClientLogWindow::onSaveAs(wxCommandEvent&) {
    tell(wxString());
    const wxString target = askForTarget();
    if (m_destroyed) {
        LogWindow::Destroy();
    } else if (!target.empty()) {
        m_worker.post([this, from = m_path, target, calls = m_calls.sender()] {
            const bool saved = nebrix::gui::copyWholeFile(from, target);
            calls.post([this, saved, target] {
                tell(wxString::Format(saved ? _("LOG_SAVED %s") : _("LOG_NOT_SAVED %s"), target));
            });
        });
    }
}

wxString NebrixClientLogWindow::askForTarget() {
    wxFileDialog dialog(this, wxFileSelectorPromptStr, wxStandardPaths::Get().GetDocumentsDir(),
                        wxFileName(m_path).GetFullName(), wxFileSelectorDefaultWildcardStr,
                        wxFD_SAVE | wxFD_OVERWRITE_PROMPT);
    m_dialog = &dialog;
    const int result = dialog.ShowModal();
    m_dialog = nullptr;
    return result == wxID_OK ? dialog.GetPath() : wxString();
}

void NebrixClientLogWindow::onEarlier(wxCommandEvent&) {
    m_follow->SetValue(false);
    m_list->SetFocus();  // before the button that may have the focus is disabled
    m_earlier->Disable();
    m_reader->earlier();
}

void NebrixClientLogWindow::onLater(wxCommandEvent&) {
    m_list->SetFocus();  // as for the earlier ones
    m_later->Disable();
    m_reader->later();
}

void NebrixClientLogWindow::onSelection(wxDataViewEvent&) {
    const std::vector<std::size_t> rows = selectedRows();
    m_copy->Enable(!rows.empty());
    if (!rows.empty() && rows.back() + 1 < m_model->snapshot().size()) {
        m_follow->SetValue(false);
    }
}

void NebrixClientLogWindow::onCloseCommand(wxCommandEvent&) { Close(); }
