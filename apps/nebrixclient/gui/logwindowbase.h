// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <wx/frame.h>

class wxButton;
class wxCheckBox;
class wxChoice;
class wxCommandEvent;
class wxDataViewCtrl;
class wxDataViewEvent;
class wxPanel;
class wxSizer;
class wxStaticText;
class wxTextCtrl;

/// What the columns of the list show, as numbers of the list's model.
enum class LogColumn : unsigned { Time, Thread, Level, Message };

/// The log window's controls, their place and the keys that reach them. Its handlers only let the event go on. GUI
/// thread.
class LogWindow : public wxFrame {
public:
    LogWindow(wxWindow* parent, const wxString& title);

protected:
    virtual void onFindNext(wxCommandEvent& event);
    virtual void onFocusFind(wxCommandEvent& event);
    virtual void onCategory(wxCommandEvent& event);
    virtual void onFollow(wxCommandEvent& event);
    virtual void onCopy(wxCommandEvent& event);
    virtual void onSaveAs(wxCommandEvent& event);
    virtual void onEarlier(wxCommandEvent& event);
    virtual void onLater(wxCommandEvent& event);
    virtual void onSelection(wxDataViewEvent& event);
    virtual void onCloseCommand(wxCommandEvent& event);

    wxPanel* m_panel = nullptr;
    wxTextCtrl* m_find = nullptr;
    wxButton* m_findNext = nullptr;
    wxChoice* m_category = nullptr;  ///< all, then the log's categories in their order
    wxCheckBox* m_follow = nullptr;
    wxDataViewCtrl* m_list = nullptr;
    wxButton* m_earlier = nullptr;
    wxButton* m_later = nullptr;
    wxButton* m_copy = nullptr;
    wxButton* m_saveAs = nullptr;
    wxStaticText* m_status = nullptr;   ///< how many lines there are, or why none
    wxStaticText* m_message = nullptr;  ///< what became of the last command

private:
    wxSizer* makeSearchRow();
    wxSizer* makeButtonRow();
    wxSizer* makeStatusRow();
    void makeList();
    void bindHandlers();
    void onKey(wxKeyEvent& event);
};
