#pragma once

namespace test {

/// Calls of operator new on this thread so far. The test program replaces the global operators.
unsigned long allocations() noexcept;

}  // namespace test
