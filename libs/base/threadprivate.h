// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <pthread.h>

#include <atomic>
#include <map>
#include <memory>

#include "libs/base/condition.h"
#include "libs/base/forkgate.h"
#include "libs/base/thread.h"

namespace tessel {

/// The part of a Thread that its running thread of the system shares, so that the thread may finish leaving after
/// the Thread object has gone.
///
/// Lock order: m_mutex before SynchroThread's and ThreadManager's locks. Both conditions are broadcast with m_mutex
/// held.
class ThreadPrivate final : public std::enable_shared_from_this<ThreadPrivate> {
public:
    ThreadPrivate(Thread& owner, const String& name, Thread::Priority priority, bool synchronised);
    ThreadPrivate(const ThreadPrivate&) = delete;
    ThreadPrivate& operator=(const ThreadPrivate&) = delete;
    ~ThreadPrivate() = default;

    void launch(bool noWait);
    bool join(unsigned long timeoutMs);
    void kill();
    /// The Thread object goes: what has ended is reaped, what still runs is left to itself.
    void abandon();
    /// Stands for the initial thread, which the caller is.
    void adoptInitialThread();

    [[nodiscard]] bool isRunning() const;
    [[nodiscard]] bool isMyThread() const;
    [[nodiscard]] unsigned long threadId() const;
    [[nodiscard]] String name() const;
    void setName(const String& name);
    void setStackSize(unsigned long bytes);
    [[nodiscard]] Thread* owner() const;

    bool wait(unsigned long milliseconds, IMutex& mutex);
    void wakeUp() noexcept { m_wake.broadcast(); }

    void setLocalData(const String& key, std::unique_ptr<ThreadLocalData> data);
    [[nodiscard]] ThreadLocalData* localData(const String& key) const;
    void removeLocalData(const String& key);

private:
    enum class State { Idle, Starting, Running, Ended };
    using LocalData = std::map<String, std::unique_ptr<ThreadLocalData>>;
    class Presence;

    static void* threadFunction(void* argument);
    void begin();
    void callMain() noexcept(false);
    void leave();
    /// Creates the thread; the system's error code, or 0.
    int create();
    /// Notes the thread where it is looked for, or takes that back.
    void enlist();
    void strikeOff();
    void reap();
    [[nodiscard]] bool active() const noexcept {
        return !elsewhere() && (m_state == State::Starting || m_state == State::Running);
    }
    /// Whether what was run last was run in a process that this one is a forked child of: it is not here, and who
    /// waited for it or held the mutex then may not be either.
    [[nodiscard]] bool elsewhere() const noexcept { return m_generation.load() != ForkGate::generation(); }

    const Thread::Priority m_priority;
    const bool m_synchronised;

    std::atomic<unsigned> m_generation{ForkGate::generation()};  // of the last run

    Condition m_started;
    Condition m_endedCondition;
    Condition m_wake;

    mutable Mutex m_mutex;
    // Guarded by m_mutex:
    Thread* m_owner;
    String m_name;
    State m_state = State::Idle;
    unsigned long m_run = 0;  // counts the runs, so that who joins one does not wait for the next
    bool m_reapable = false;  // m_handle is joinable and nobody has joined it
    pthread_t m_handle{};
    unsigned long m_threadId = 0;
    unsigned long m_stackSize = 0;
    LocalData m_localData;
};

}  // namespace tessel
