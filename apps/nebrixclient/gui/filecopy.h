// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <wx/string.h>

namespace nebrix::gui {

/// Copies a file as long as it is at the call, whatever its size; whether it was done. At any moment the target holds
/// what it held or the whole copy. A file is not copied onto itself, and nothing but a plain file is replaced: of a
/// symbolic link the plain file that it leads to. Reads and writes the disk: not for the GUI thread.
bool copyWholeFile(const wxString& from, const wxString& to);

}  // namespace nebrix::gui
