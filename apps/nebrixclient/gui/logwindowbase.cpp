// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/logwindowbase.h"

#include <wx/artprov.h>
#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/choice.h>
#include <wx/dataview.h>
#include <wx/iconbndl.h>
#include <wx/intl.h>
#include <wx/panel.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>
#include <wx/wrapsizer.h>

#include <algorithm>

#include "apps/nebrixclient/gui/accessible.h"
#include "apps/nebrixclient/gui/logmodel.h"
#include "apps/nebrixclient/gui/textfield.h"
#include "apps/nebrixclient/gui/wrappedtext.h"

using nebrix::gui::setAccessibleName;
using nebrix::gui::setLabelFor;

namespace {

constexpr long kStatusStyle = wxST_NO_AUTORESIZE | wxST_ELLIPSIZE_MIDDLE;
constexpr int kFindColumns = 24;
constexpr int kWindowColumns = 130;
constexpr int kWindowLines = 36;
constexpr int kLeastLines = 5;
constexpr int kMessageColumns = 100;

}  // namespace

LogWindow::LogWindow(wxWindow* parent, const wxString& title) : wxFrame(parent, wxID_ANY, title) {
    SetIcons(wxArtProvider::GetIconBundle("nebrix-logo", wxART_OTHER));
    m_panel = new wxPanel(this);
    auto* const column = new wxBoxSizer(wxVERTICAL);
    column->Add(makeSearchRow(), wxSizerFlags().Expand().Border());
    makeList();
    column->Add(m_list, wxSizerFlags(1).Expand().Border(wxLEFT | wxRIGHT));
    column->Add(makeButtonRow(), wxSizerFlags().Expand().Border());
    column->Add(makeStatusRow(), wxSizerFlags().Expand().Border(wxLEFT | wxRIGHT | wxBOTTOM));
    m_panel->SetSizer(column);
    const wxSize least = column->GetMinSize();
    SetMinClientSize(least);
    wxSize wanted(kWindowColumns * GetCharWidth(), kWindowLines * GetCharHeight());
    wanted.DecTo(nebrix::gui::roomOnScreen());
    wanted.IncTo(least);
    SetClientSize(wanted);
    bindHandlers();
}

wxSizer* LogWindow::makeSearchRow() {
    auto* const row = new wxWrapSizer(wxHORIZONTAL, wxREMOVE_LEADING_SPACES);
    auto* const findLabel = new wxStaticText(m_panel, wxID_ANY, _("LOG_FIND"));
    m_find = nebrix::gui::makeTextField(m_panel, kFindColumns, wxTE_PROCESS_ENTER);
    m_findNext = new wxButton(m_panel, wxID_ANY, _("LOG_FIND_NEXT"));
    auto* const categoryLabel = new wxStaticText(m_panel, wxID_ANY, _("LOG_CATEGORY"));
    m_category = new wxChoice(m_panel, wxID_ANY);
    m_category->Append(_("LOG_ALL_CATEGORIES"));
    for (int category = 0; category < tessel::kLogCategories; ++category) {
        m_category->Append(nebrix::gui::logCategoryName(category));
    }
    m_category->SetSelection(0);
    m_follow = new wxCheckBox(m_panel, wxID_ANY, _("LOG_FOLLOW"));
    m_follow->SetValue(true);
    setLabelFor(*findLabel, *m_find);
    setLabelFor(*categoryLabel, *m_category);

    const auto add = [&](wxStaticText* label, wxWindow* control, int proportion) {
        auto* const pair = new wxBoxSizer(wxHORIZONTAL);
        pair->Add(label, wxSizerFlags().CentreVertical().Border(wxRIGHT));
        pair->Add(control, wxSizerFlags(1).CentreVertical());
        row->Add(pair, wxSizerFlags(proportion).CentreVertical().Border(wxRIGHT));
    };
    add(findLabel, m_find, 1);
    row->Add(m_findNext, wxSizerFlags().CentreVertical().DoubleBorder(wxRIGHT));
    add(categoryLabel, m_category, 0);
    row->Add(m_follow, wxSizerFlags().CentreVertical().DoubleBorder(wxLEFT));
    return row;
}

void LogWindow::makeList() {
    m_list = new wxDataViewCtrl(m_panel, wxID_ANY, wxDefaultPosition, wxDefaultSize, wxDV_MULTIPLE | wxDV_ROW_LINES);
    m_list->SetMinSize(wxSize(wxDefaultCoord, kLeastLines * m_list->GetCharHeight()));
    const auto widthFor = [&](const wxString& title, const wxString& widest) {
        return std::max(m_list->GetTextExtent(title).x, m_list->GetTextExtent(widest).x) + 2 * m_list->GetCharWidth();
    };
    const auto addColumn = [&](const wxString& title, LogColumn column, int width) {
        m_list->AppendTextColumn(title, static_cast<unsigned>(column), wxDATAVIEW_CELL_INERT, width, wxALIGN_LEFT,
                                 wxDATAVIEW_COL_RESIZABLE);
    };
    const int time = widthFor(_("LOG_TIME"), "00-00-00 00:00:00.000");
    const int thread = widthFor(_("LOG_THREAD"), "nebrixclient");
    const int level = widthFor(_("LOG_LEVEL"), wxString::FromUTF8("\u26A0 WARNING"));
    // Where little room is left for the messages, what is nearly the same on each line goes behind them.
    const bool narrow = time + thread + level > nebrix::gui::roomOnScreen().x / 2;
    addColumn(_("LOG_TIME"), LogColumn::Time, time);
    if (!narrow) {
        addColumn(_("LOG_THREAD"), LogColumn::Thread, thread);
    }
    addColumn(_("LOG_LEVEL"), LogColumn::Level, level);
    addColumn(_("LOG_MESSAGE"), LogColumn::Message, kMessageColumns * m_list->GetCharWidth());
    if (narrow) {
        addColumn(_("LOG_THREAD"), LogColumn::Thread, thread);
    }
    setAccessibleName(*m_list, _("LOG_TITLE"));
}

wxSizer* LogWindow::makeButtonRow() {
    auto* const row = new wxWrapSizer(wxHORIZONTAL, wxREMOVE_LEADING_SPACES);
    m_earlier = new wxButton(m_panel, wxID_ANY, _("LOG_EARLIER"));
    m_later = new wxButton(m_panel, wxID_ANY, _("LOG_LATER"));
    m_copy = new wxButton(m_panel, wxID_ANY, _("LOG_COPY"));
    m_saveAs = new wxButton(m_panel, wxID_ANY, _("LOG_SAVE_AS"));
    m_earlier->Disable();
    m_later->Disable();
    m_copy->Disable();
    row->Add(m_earlier);
    row->Add(m_later, wxSizerFlags().Border(wxLEFT));
    row->Add(0, 0, wxSizerFlags(1));
    row->Add(m_copy, wxSizerFlags().Border(wxLEFT));
    row->Add(m_saveAs, wxSizerFlags().Border(wxLEFT));
    return row;
}

// Labels, since a status bar is nothing that a screen reader sees.
wxSizer* LogWindow::makeStatusRow() {
    auto* const row = new wxBoxSizer(wxHORIZONTAL);
    m_status = new wxStaticText(m_panel, wxID_ANY, " ", wxDefaultPosition, wxDefaultSize, kStatusStyle);
    m_message = new wxStaticText(m_panel, wxID_ANY, " ", wxDefaultPosition, wxDefaultSize, kStatusStyle);
    row->Add(m_status, wxSizerFlags(1));
    row->Add(m_message, wxSizerFlags(1).Border(wxLEFT));
    return row;
}

void LogWindow::bindHandlers() {
    m_find->Bind(wxEVT_TEXT_ENTER, &LogWindow::onFindNext, this);
    m_findNext->Bind(wxEVT_BUTTON, &LogWindow::onFindNext, this);
    m_category->Bind(wxEVT_CHOICE, &LogWindow::onCategory, this);
    m_follow->Bind(wxEVT_CHECKBOX, &LogWindow::onFollow, this);
    m_list->Bind(wxEVT_DATAVIEW_SELECTION_CHANGED, &LogWindow::onSelection, this);
    m_earlier->Bind(wxEVT_BUTTON, &LogWindow::onEarlier, this);
    m_later->Bind(wxEVT_BUTTON, &LogWindow::onLater, this);
    m_copy->Bind(wxEVT_BUTTON, &LogWindow::onCopy, this);
    m_saveAs->Bind(wxEVT_BUTTON, &LogWindow::onSaveAs, this);
    Bind(wxEVT_CHAR_HOOK, &LogWindow::onKey, this);
}

void LogWindow::onKey(wxKeyEvent& event) {
    const int key = event.GetKeyCode();
    const int modifiers = event.GetModifiers();
    wxCommandEvent command;
    if ((key == WXK_ESCAPE && modifiers == wxMOD_NONE) || (key == 'W' && modifiers == wxMOD_CONTROL)) {
        onCloseCommand(command);
    } else if (key == WXK_F3 && modifiers == wxMOD_NONE) {
        onFindNext(command);
    } else if (key == 'F' && modifiers == wxMOD_CONTROL) {
        onFocusFind(command);
    } else if (key == 'C' && modifiers == wxMOD_CONTROL && FindFocus() != m_find) {
        onCopy(command);
    } else {
        event.Skip();
    }
}

void LogWindow::onFindNext(wxCommandEvent& event) { event.Skip(); }
void LogWindow::onFocusFind(wxCommandEvent& event) { event.Skip(); }
void LogWindow::onCategory(wxCommandEvent& event) { event.Skip(); }
void LogWindow::onFollow(wxCommandEvent& event) { event.Skip(); }
void LogWindow::onCopy(wxCommandEvent& event) { event.Skip(); }
void LogWindow::onSaveAs(wxCommandEvent& event) { event.Skip(); }
void LogWindow::onEarlier(wxCommandEvent& event) { event.Skip(); }
void LogWindow::onLater(wxCommandEvent& event) { event.Skip(); }
void LogWindow::onSelection(wxDataViewEvent& event) { event.Skip(); }
void LogWindow::onCloseCommand(wxCommandEvent& event) { event.Skip(); }
