// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <wx/dataview.h>

#include "apps/nebrixclient/gui/logreader.h"

namespace nebrix::gui {

/// The lines of a log as the rows of a list; the columns are LogColumn. GUI thread.
class LogModel final : public wxDataViewVirtualListModel {
public:
    LogModel();

    /// What rows there are now. True when rows were only added behind the others, so that selection and place are
    /// kept by the list itself; else the list has been reset.
    bool show(LogSnapshot snapshot);
    [[nodiscard]] const LogSnapshot& snapshot() const { return m_snapshot; }

    [[nodiscard]] unsigned GetColumnCount() const override { return 4; }
    [[nodiscard]] wxString GetColumnType(unsigned column) const override;
    void GetValueByRow(wxVariant& value, unsigned row, unsigned column) const override;
    bool SetValueByRow(const wxVariant& value, unsigned row, unsigned column) override;
    /// Errors and warnings are coloured, so that they are seen on this background; a sign in front of the category says
    /// the same without colour.
    bool GetAttrByRow(unsigned row, unsigned column, wxDataViewItemAttr& attribute) const override;

private:
    LogSnapshot m_snapshot;
};

/// The category's name as it stands in the file; empty for a line without one.
const char* logCategoryName(int category) noexcept;

/// Bytes of a log, which need not be UTF-8, as text: then each byte as a character.
wxString logText(const tessel::String& bytes);

}  // namespace nebrix::gui
