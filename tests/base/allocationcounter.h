// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace test {

/// Calls of operator new on this thread so far. The test program replaces the global operators.
unsigned long allocations() noexcept;
/// Lets one call fail, on whichever thread it comes: the number-th from now, counted from 1; 0 takes that back. Does
/// nothing under the thread sanitizer.
void failAllocation(unsigned long number) noexcept;

}  // namespace test
