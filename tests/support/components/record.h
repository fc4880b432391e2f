// SPDX-License-Identifier: Apache-2.0
// What the recording components share. Everything is steered by environment variables, read at each use:
//   NEBRIX_TEST_CALLS   file that every call is appended to, one line a call: the entry's name and its arguments,
//                       parted by tabs
//   NEBRIX_TEST_MARK    file that is made when the library is loaded
// Without the variable nothing is written.
#pragma once

// Arguments end with a null pointer.
void record(const char* entry, ...);
