// What the recording components share. Everything is steered by environment variables, read at each use:
//   NEBRIX_TEST_CALLS   file that every call is appended to, one line a call: the entry's name and its arguments,
//                       parted by tabs; tab, line end and backslash inside an argument are "\t", "\n", "\\"; a line is
//                       cut at 8 KiB
//   NEBRIX_TEST_MARK    file that is made when the library is loaded
// Without the variable nothing is written.
#pragma once

// Arguments end with a null pointer.
void record(const char* entry, ...);

// Line number index (from 0) of the file that variable names, without its line end; the last line once the file is
// exhausted; fallback without variable, file or line. The caller owns it (free(3)).
char* scripted_line(const char* variable, unsigned index, const char* fallback);
