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

    /// Called by the running thread itself when it begins and when it ends.
    void add(ThreadPrivate& thread);
    void remove(ThreadPrivate& thread);

    /// The toolkit thread that calls, or null on a thread made by others.
    [[nodiscard]] Thread* current() noexcept;
    [[nodiscard]] unsigned count() const;

    /// killThread() for every running thread, which on POSIX systems ends the process with the first.
    void killAllThreads();

private:
    void adoptInitialThread();

    bool m_keyMade = false;  // constant after init()
    pthread_key_t m_key{};
    std::unique_ptr<MainThread> m_mainThread;

    mutable Mutex m_section;
    // Guarded by m_section:
    std::map<ThreadPrivate*, std::shared_ptr<ThreadPrivate>> m_running;
};

}  // namespace tessel
