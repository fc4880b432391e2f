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

#include "apps/nebrixclient/gui/filecopy.h"
#include "apps/nebrixclient/gui/wxtext.h"

using nebrix::gui::LogSnapshot;
using tessel::view::LogLine;

namespace {

constexpr int kPollInterval = 500;  // milliseconds

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
    m_timer.Bind(wxEVT_TIMER, [this](wxTimerEvent& /*event*/) { m_reader->poll(); });
    Bind(wxEVT_SHOW, &NebrixClientLogWindow::onShow, this);
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
    if (!m_model->show(snapshot)) {
        restore(selected, top);
    }
    if (m_follow->GetValue()) {
        showNewest();
    }
    m_earlier->Enable(snapshot.startsLater);
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
    m_message->SetLabel(wxString());
    const std::vector<std::size_t> rows = selectedRows();
    const std::size_t from = rows.empty() ? 0 : rows.back() + 1;
    m_reader->find(m_model->snapshot(), tessel::wxToTesselString(m_find->GetValue()), from,
                   [this](std::optional<std::int64_t> number) { showFound(number); });
}

void NebrixClientLogWindow::showFound(std::optional<std::int64_t> number) {
    const LogSnapshot& now = m_model->snapshot();
    const std::size_t row = number ? now.row(*number) : now.size();
    if (row >= now.size() || now.number(row) != *number) {
        m_message->SetLabelText(_("LOG_NOT_FOUND"));
        return;
    }
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
    m_message->SetLabel(wxString());
    const int chosen = m_category->GetSelection();
    m_reader->setCategory(chosen <= 0 ? tessel::view::LogFilter::kAllCategories : chosen - 1);
}

void NebrixClientLogWindow::onFollow(wxCommandEvent&) {
    if (m_follow->GetValue()) {
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
    m_message->SetLabel(wxString());
    wxFileDialog dialog(this, wxFileSelectorPromptStr, wxStandardPaths::Get().GetDocumentsDir(),
                        wxFileName(m_path).GetFullName(), wxFileSelectorDefaultWildcardStr,
                        wxFD_SAVE | wxFD_OVERWRITE_PROMPT);
    if (dialog.ShowModal() != wxID_OK) {
        return;
    }
    m_worker.post([this, from = m_path, to = dialog.GetPath(), calls = m_calls.sender()] {
        const bool saved = nebrix::gui::copyWholeFile(from, to);
        calls.post([this, saved, to] {
            m_message->SetLabelText(wxString::Format(saved ? _("LOG_SAVED %s") : _("LOG_NOT_SAVED %s"), to));
        });
    });
}

void NebrixClientLogWindow::onEarlier(wxCommandEvent&) {
    m_follow->SetValue(false);
    m_earlier->Disable();
    m_reader->earlier();
}

void NebrixClientLogWindow::onSelection(wxDataViewEvent&) {
    const std::vector<std::size_t> rows = selectedRows();
    m_copy->Enable(!rows.empty());
    if (!rows.empty() && rows.back() + 1 < m_model->snapshot().size()) {
        m_follow->SetValue(false);
    }
}

void NebrixClientLogWindow::onCloseCommand(wxCommandEvent&) { Close(); }
