// SPDX-License-Identifier: Apache-2.0
#include "libs/base/globals.h"

#include <array>
#include <cstddef>
#include <new>

#include "libs/base/console.h"
#include "libs/base/forkgate.h"

namespace tessel {

Globals& Globals::instance() {
    static const struct ExitDoor {
        ExitDoor() {
            // In static storage: never destroyed.
            alignas(Globals) static std::array<std::byte, sizeof(Globals)> storage;
            s_current.store(new (storage.data()) Globals(nullptr), std::memory_order_release);
            ForkGate::install();
        }
        ExitDoor(const ExitDoor&) = delete;
        ExitDoor& operator=(const ExitDoor&) = delete;
        ~ExitDoor() { instance().shutDown(); }
    } door;
    Globals* const current = s_current.load(std::memory_order_acquire);
    return current->m_generation == ForkGate::generation() ? *current : renew(current);
}

Globals::Globals(Globals* before) : m_generation(ForkGate::generation()), m_before(before) { m_threads.init(); }

Globals& Globals::renew(Globals* before) noexcept {
    // A child begins with one thread; of several that come here at once one has its way.
    try {
        auto* const fresh = new Globals(before);
        return s_current.compare_exchange_strong(before, fresh) ? *fresh : *before;
    } catch (const std::bad_alloc&) {
        return *before;  // its end may wait for threads that it has not, within the limits
    }
}

void Globals::shutDown() noexcept {
    m_synchroThread.waitAtExit();
    m_disposeGuard.wait();
    if (const auto console = Console::current()) {
        console->flush(Console::kLastWordsMilliseconds);
        console->quit_and_join();
    }
}

namespace gc {

DisposeGuard& disposeGuard() noexcept { return Globals::instance().disposeGuard(); }

}  // namespace gc

}  // namespace tessel
