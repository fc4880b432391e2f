// SPDX-License-Identifier: Apache-2.0
#include "libs/base/disposeguard.h"

#include <chrono>

#include "libs/base/log.h"
#include "libs/base/numbers.h"

namespace tessel::gc {

void DisposeGuard::decr() {
    if ((m_counter -= 1) == 0 && m_waiting.load()) {
        m_semaphore.release();
    }
}

void DisposeGuard::wait(unsigned milliseconds) {
    m_waiting.store(true);
    const long pending = m_counter.value();
    if (pending <= 0) {  // below 0 in a forked child that drops its parent's objects
        return;
    }
    // No blank before the number and always ten seconds: readers of the log know the line so.
    log(LogCategory::Trace, "DisposeGuard", "~DisposeGuard",
        String("wait for" + toString(pending) + " refs for " + "10" + " seconds"));
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    // A loop, because the count may have touched zero before and left the semaphore released.
    while (m_counter.value() > 0) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        if (left.count() > 0 && m_semaphore.acquire(static_cast<unsigned>(left.count()))) {
            continue;
        }
        log(LogCategory::Error, "DisposeGuard", "~DisposeGuard",
            String(toString(m_counter.value()) + " refs still active, continuing anyway"));
        return;
    }
}

}  // namespace tessel::gc
