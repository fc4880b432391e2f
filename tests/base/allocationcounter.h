#pragma once

namespace test {

/// Calls of operator new on this thread since the counter was made. The test program replaces the global operators.
class AllocationCounter {
public:
    AllocationCounter() noexcept;
    [[nodiscard]] unsigned long count() const noexcept;

private:
    unsigned long m_before;
};

}  // namespace test
