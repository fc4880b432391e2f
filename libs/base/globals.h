// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>

#include "libs/base/disposeguard.h"
#include "libs/base/gcobject.h"
#include "libs/base/synchrothread.h"
#include "libs/base/threadmanager.h"

namespace tessel {

class Console;

/// What the toolkit keeps one of for the whole process.
///
/// Made by the first use, which may come before main(): thread manager, SynchroThread, dispose guard; the console
/// joins when Console::start() makes it. At exit, in this order: SynchroThread waits at most 5000 ms for
/// synchronised threads, the dispose guard at most 10 s for objects, the console writes what is queued and its thread
/// ends. Static objects that were made after the first use (a static Thread among them) are destroyed before that.
///
/// A forked child gets all of it anew: it waits at its exit for its own threads and objects only. Its console has no
/// thread, so that its lines are written at once.
///
/// Nothing here is ever destroyed, so that threads that survive and destructors that run later find it whole; a line
/// logged then is written at once, on its own thread.
class Globals {
public:
    /// Any thread may call, at any time. Raises std::bad_alloc where there is no memory at the first use.
    static Globals& instance();

    [[nodiscard]] ThreadManager& threads() noexcept { return m_threads; }
    [[nodiscard]] SynchroThread& synchroThread() noexcept { return m_synchroThread; }
    [[nodiscard]] gc::DisposeGuard& disposeGuard() noexcept { return m_disposeGuard; }

    Globals(const Globals&) = delete;
    Globals& operator=(const Globals&) = delete;

private:
    static constexpr unsigned kThreadLimit = 5000;

    explicit Globals(Globals* before);
    ~Globals() = default;
    /// Puts new ones in the place of those that a forked child has from its parent.
    static Globals& renew(Globals* before) noexcept;
    void shutDown() noexcept;

    static inline constinit std::atomic<Globals*> s_current{nullptr};

    const unsigned m_generation;  // ForkGate's
    // A parent's, whose threads are not here. Reached from here for ever, and so no leak.
    [[maybe_unused]] Globals* const m_before;
    ThreadManager m_threads;
    SynchroThread m_synchroThread{kThreadLimit};
    gc::DisposeGuard m_disposeGuard;
};

}  // namespace tessel
