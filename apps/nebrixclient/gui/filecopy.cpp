// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/filecopy.h"

#include <wx/file.h>
#include <wx/filename.h>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <vector>

namespace nebrix::gui {
namespace {

constexpr wxFileOffset kPiece = 64 * 1024;

/// Where a file of that name may be put; empty where something else than a plain file is.
wxString replaceable(const wxString& name) {
    const std::filesystem::path path(name.fn_str().data());
    std::error_code failure;
    if (std::filesystem::symlink_status(path, failure).type() == std::filesystem::file_type::not_found) {
        return name;
    }
    const std::filesystem::path target = std::filesystem::canonical(path, failure);
    return std::filesystem::is_regular_file(target, failure) ? wxString(target.c_str(), wxConvFile) : wxString();
}

}  // namespace

bool copyWholeFile(const wxString& from, const wxString& name) {
    const wxString to = replaceable(name);
    if (to.empty() || wxFileName(from).SameAs(wxFileName(to))) {
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
