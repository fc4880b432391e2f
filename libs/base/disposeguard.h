// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>

#include "libs/base/atomiccounter.h"
#include "libs/base/semaphore.h"

namespace tessel::gc {

/// Counts the objects of deferred disposal (gc::ObjectDispose) that still live, so that a process can wait for them
/// at its end. Any thread may count; one thread waits.
class DisposeGuard {
public:
    DisposeGuard() = default;
    DisposeGuard(const DisposeGuard&) = delete;
    DisposeGuard& operator=(const DisposeGuard&) = delete;
    /// Waits; an exception on the way ends the process.
    ~DisposeGuard() { wait(kLimit); }

    void incr() noexcept { m_counter += 1; }
    void decr();
    /// Returns when nothing is counted any more or ten seconds are over, which is logged. Never raises for that.
    void wait() { wait(kLimit); }
    void wait(unsigned milliseconds);
    [[nodiscard]] long count() const noexcept { return m_counter.value(); }

private:
    static constexpr unsigned kLimit = 10'000;

    // decr() changes the counter and then reads the flag, wait() sets the flag and then reads the counter, all in
    // one total order: one of the two always sees the other.
    AtomicCounter m_counter;
    std::atomic<bool> m_waiting{false};
    Semaphore m_semaphore;
};

/// The process's guard. Lives as long as the process; waited for at exit (see globals.h).
DisposeGuard& disposeGuard() noexcept;

}  // namespace tessel::gc
