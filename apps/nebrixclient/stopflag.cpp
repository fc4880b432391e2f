// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/stopflag.h"

namespace tessel {

void StopFlag::request() {
    Lock lock(m_mutex);
    m_requested = true;
    m_condition.broadcast();
}

bool StopFlag::requested() const {
    Lock lock(m_mutex);
    return m_requested;
}

bool StopFlag::wait(unsigned milliseconds) {
    UniqueLock lock(m_mutex);
    return m_condition.wait(lock, milliseconds, [this] { return m_requested; });
}

}  // namespace tessel
