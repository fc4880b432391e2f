// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/logmodel.h"

#include <wx/settings.h>

#include <algorithm>
#include <utility>

#include "apps/nebrixclient/gui/logwindowbase.h"
#include "apps/nebrixclient/gui/wxtext.h"

namespace nebrix::gui {
namespace {

using tessel::LogCategory;
using tessel::view::LogFilter;
using tessel::view::LogLine;

constexpr unsigned kLongestShown = 1000;    // bytes of one cell: laying out more would stop the list
constexpr std::size_t kMostAppended = 500;  // rows told of one by one; beyond that a reset is cheaper

bool isError(int category) {
    return category == static_cast<int>(LogCategory::Error) || category == static_cast<int>(LogCategory::Assert);
}

bool isWarning(int category) { return category == static_cast<int>(LogCategory::Warning); }

const char* signOf(int category) { return isError(category) ? "\u2716 " : isWarning(category) ? "\u26A0 " : ""; }

tessel::String cell(const LogLine& line, LogColumn column) {
    switch (column) {
        case LogColumn::Time:
            return line.time;
        case LogColumn::Thread:
            return line.thread;
        case LogColumn::Level:
            return tessel::String::copy(signOf(line.category)) + logCategoryName(line.category);
        case LogColumn::Message:
            break;
    }
    return line.text;
}

/// The beginning that is shown, not ending within a character.
tessel::String shortened(const tessel::String& text) {
    if (text.length() <= kLongestShown) {
        return text;
    }
    unsigned end = kLongestShown;
    while (end > 0 && (static_cast<unsigned char>(text.array()[end]) & 0xC0U) == 0x80U) {
        --end;
    }
    return text.range(0, end) + "...";
}

bool continues(const LogSnapshot& before, const LogSnapshot& now) {
    const std::size_t rows = before.size();
    return !now.restarted && rows > 0 && now.size() >= rows && now.size() - rows <= kMostAppended &&
           now.number(0) == before.number(0) && now.number(rows - 1) == before.number(rows - 1);
}

}  // namespace

LogModel::LogModel() { m_snapshot.shown = std::make_shared<LogFilter>(); }

bool LogModel::show(LogSnapshot snapshot) {
    const std::size_t before = m_snapshot.size();
    const bool appended = continues(m_snapshot, snapshot);
    m_snapshot = std::move(snapshot);
    if (!appended) {
        Reset(static_cast<unsigned>(m_snapshot.size()));
        return false;
    }
    for (std::size_t row = before; row < m_snapshot.size(); ++row) {
        RowAppended();
    }
    return true;
}

wxString LogModel::GetColumnType(unsigned /*column*/) const { return "string"; }

void LogModel::GetValueByRow(wxVariant& value, unsigned row, unsigned column) const {
    value = row < m_snapshot.size()
                ? logText(shortened(cell(m_snapshot.shown->line(row), static_cast<LogColumn>(column))))
                : wxString();
}

bool LogModel::SetValueByRow(const wxVariant& /*value*/, unsigned /*row*/, unsigned /*column*/) { return false; }

bool LogModel::GetAttrByRow(unsigned row, unsigned /*column*/, wxDataViewItemAttr& attribute) const {
    const int category = row < m_snapshot.size() ? m_snapshot.shown->line(row).category : LogLine::kContinuation;
    if (!isError(category) && !isWarning(category)) {
        return false;
    }
    const bool dark = wxSystemSettings::GetAppearance().IsUsingDarkBackground();
    if (isError(category)) {
        attribute.SetColour(dark ? wxColour(0xFF, 0x8A, 0x80) : wxColour(0xB0, 0x00, 0x20));
    } else {
        attribute.SetColour(dark ? wxColour(0xFF, 0xC9, 0x4D) : wxColour(0x8A, 0x4B, 0x00));
    }
    return true;
}

const char* logCategoryName(int category) noexcept {
    constexpr const char* kNames[] = {"TRACE", "DEBUG", "ERROR", "ASSERT", "WARNING"};
    return category >= 0 && category < tessel::kLogCategories ? kNames[category] : "";
}

wxString logText(const tessel::String& bytes) {
    wxString text = tessel::tesselToWxString(bytes);
    if (text.empty() && !bytes.empty()) {
        text = wxString::From8BitData(bytes.array(), bytes.length());
    }
    return text;
}

}  // namespace nebrix::gui
