// SPDX-License-Identifier: Apache-2.0
#include "libs/base/semaphore.h"

namespace tessel {

void Semaphore::release() {
    // Signalled under the mutex: whoever acquires may destroy the semaphore at once.
    const Lock lock(m_mutex);
    ++m_count;
    m_condition.signal();
}

void Semaphore::acquire() {
    UniqueLock lock(m_mutex);
    while (m_count == 0) {
        m_condition.wait(lock);
    }
    --m_count;
}

bool Semaphore::acquire(unsigned milliseconds) {
    UniqueLock lock(m_mutex);
    if (!m_condition.wait(lock, milliseconds, [this] { return m_count > 0; })) {
        return false;
    }
    --m_count;
    return true;
}

}  // namespace tessel
