// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/condition.h"

namespace tessel {

/// A request to end that any thread may make once, and that one thread watches while it works and waits.
/// A request is never lost, also before the watching began; it is never taken back.
class StopFlag {
public:
    void request();
    [[nodiscard]] bool requested() const;
    /// Waits so long, or until the request; whether it was made.
    bool wait(unsigned milliseconds);

private:
    mutable Mutex m_mutex;
    Condition m_condition;
    bool m_requested = false;  // guarded by m_mutex
};

}  // namespace tessel
