// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <pthread.h>

#include <map>
#include <memory>

#include "libs/base/mutex.h"
#include "libs/base/thread.h"

namespace tessel {

/// Stands for the process's initial thread, so that Thread::getCurrentThread() works there too. Runs already; its
/// main() must never be called.
class MainThread final : public Thread {
public:
    MainThread() : Thread("main") {}
    /// To be called on the initial thread.
    void adopt();

protected:
    void main() override;
};

/// Knows every running thread of the toolkit. One for the process (see globals.h); any thread may call.
class ThreadManager {
public:
    ThreadManager() = default;
    ThreadManager(const ThreadManager&) = delete;
    ThreadManager& operator=(const ThreadManager&) = delete;
    ~ThreadManager() = default;

    /// Makes the key of the current thread, and the object of the initial one. Called once, before anything else.
    void init();

    /// From just before the thread is created (std::bad_alloc when it cannot be noted) until it ends or is not created.
    void add(std::shared_ptr<ThreadPrivate> thread);
    void remove(const ThreadPrivate& thread);
    /// Called by the running thread itself when it begins, and with null when it ends.
    void setCurrent(ThreadPrivate* thread) noexcept;

    /// The toolkit thread that calls, or null on a thread made by others.
    [[nodiscard]] Thread* current() noexcept;
    [[nodiscard]] unsigned count() const;

    /// killThread() for every running thread, which on POSIX systems ends the process with the first.
    void killAllThreads();

private:
    void adoptInitialThread();

    bool m_keyMade = false;  // constant after init()
    pthread_key_t m_key{};
    std::unique_ptr<MainThread> m_mainThread;  // null when there was no memory for it

    mutable Mutex m_section;
    // Guarded by m_section:
    std::map<const ThreadPrivate*, std::shared_ptr<ThreadPrivate>> m_running;
};

}  // namespace tessel
