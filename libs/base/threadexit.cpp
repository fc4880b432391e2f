// SPDX-License-Identifier: Apache-2.0
#include "libs/base/threadexit.h"

#include <pthread.h>

#include <optional>

namespace tessel {

// Keys that a process makes early need no memory of their own in any thread.
void ThreadExit::arm() noexcept {
    static const std::optional<pthread_key_t> key = [] {
        pthread_key_t made{};
        const bool works = ::pthread_key_create(&made, [](void* last) { runAll(last); }) == 0;
        return works ? std::optional(made) : std::nullopt;
    }();
    if (key.has_value()) {
        m_before = static_cast<ThreadExit*>(::pthread_getspecific(*key));
        ::pthread_setspecific(*key, this);
    }
}

void ThreadExit::runAll(void* last) noexcept {
    for (auto* exit = static_cast<ThreadExit*>(last); exit != nullptr; exit = exit->m_before) {
        exit->m_function();
    }
}

}  // namespace tessel
