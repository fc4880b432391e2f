// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <condition_variable>

#include "libs/base/mutex.h"

namespace tessel {

/// A condition that threads wait on while they hold a mutex. Time runs on the steady clock: setting the system's
/// clock neither shortens nor lengthens a wait. Waits may end spuriously: test the state in a loop, or pass it.
class Condition {
public:
    /// Without limit.
    void wait(UniqueLock& lock) { m_condition.wait(lock); }
    /// False when the time was up.
    bool wait(UniqueLock& lock, unsigned milliseconds);
    /// Until ready() holds or the time is up; returns ready().
    template <class Ready>
    bool wait(UniqueLock& lock, unsigned milliseconds, Ready ready) {
        return m_condition.wait_for(lock, std::chrono::milliseconds(milliseconds), ready);
    }
    void signal() noexcept { m_condition.notify_one(); }
    void broadcast() noexcept { m_condition.notify_all(); }

private:
    std::condition_variable_any m_condition;
};

}  // namespace tessel
