// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <vector>

#include "libs/base/mutex.h"
#include "libs/base/semaphore.h"

namespace tessel {

class ThreadPrivate;

/// Counts the running threads that were made synchronised, so that the process can wait at its end until they are
/// done. One for the process (see globals.h); any thread may call.
class SynchroThread {
public:
    explicit SynchroThread(unsigned limitMilliseconds) : m_limit(limitMilliseconds) {}
    SynchroThread(const SynchroThread&) = delete;
    SynchroThread& operator=(const SynchroThread&) = delete;
    ~SynchroThread() { waitAtExit(); }

    void add(std::shared_ptr<ThreadPrivate> thread);
    void remove(const ThreadPrivate& thread);
    [[nodiscard]] unsigned count() const;

    /// Until none runs or the time is up; whether none runs.
    bool wait(unsigned milliseconds);
    /// Waits up to the limit, and tells on standard error which threads are left.
    void waitAtExit();

private:
    const unsigned m_limit;
    // Released when the count drops to zero; may be ahead of it, which is why wait() looks again.
    Semaphore m_semaphore;

    mutable Mutex m_mutex;
    // Guarded by m_mutex:
    std::vector<std::shared_ptr<ThreadPrivate>> m_running;
};

}  // namespace tessel
