// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/condition.h"

namespace tessel {

/// A counting semaphore.
class Semaphore {
public:
    explicit Semaphore(unsigned count = 0) : m_count(count) {}

    void release();
    void acquire();
    /// False when the time was up.
    bool acquire(unsigned milliseconds);

private:
    Mutex m_mutex;
    Condition m_condition;
    unsigned m_count;  // guarded by m_mutex
};

}  // namespace tessel
