#include "apps/nebrixclient/gui/filecopy.h"

#include <wx/file.h>
#include <wx/filename.h>

#include <algorithm>
#include <vector>

namespace nebrix::gui {
namespace {

constexpr wxFileOffset kPiece = 64 * 1024;

}  // namespace

bool copyWholeFile(const wxString& from, const wxString& to) {
    if (wxFileName(from).SameAs(wxFileName(to))) {
        return false;
    }
    wxFile source(from);
    if (!source.IsOpened()) {
        return false;
    }
    wxTempFile target(to);
    if (!target.IsOpened()) {
        return false;
    }
    std::vector<char> piece(static_cast<std::size_t>(kPiece));
    for (wxFileOffset left = source.Length(); left > 0;) {
        const ssize_t count = source.Read(piece.data(), static_cast<std::size_t>(std::min(left, kPiece)));
        if (count == wxInvalidOffset || (count > 0 && !target.Write(piece.data(), static_cast<std::size_t>(count)))) {
            return false;
        }
        left = count == 0 ? 0 : left - count;  // it may shrink meanwhile
    }
    return target.Flush() && target.Commit();
}

}  // namespace nebrix::gui
