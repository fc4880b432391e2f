// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "libs/base/exception.h"
#include "libs/base/mutex.h"
#include "libs/base/string.h"

namespace tessel {

class ThreadPrivate;

/// A thread could not be created.
TESSEL_EXCEPTION(EThread, Exception);

/// What a thread keeps for a key; deleted when the thread ends or the key is set anew.
class ThreadLocalData {
public:
    virtual ~ThreadLocalData() = default;
};

/// A thread of the system whose body is the virtual main(). One Thread runs at most one thread of the system at a
/// time, and may be run again when that one has ended.
///
/// The derived class's destructor must see to it that the thread has ended (join()): main() uses its members.
/// Every operation may be called on any thread.
/// In a forked child no Thread runs, but may be run again: join() does not wait for what runs in the parent.
class Thread {
public:
    /// 0 runs as others do, above 0 better, below 0 worse: advice to the scheduler, in steps of niceness.
    using Priority = int;
    static constexpr unsigned long kNoLimit = static_cast<unsigned long>(-1);

    /// `synchronised`: the process waits for this thread, within limits, when it exits.
    Thread(const String& name, Priority priority, bool synchronised);
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;
    virtual ~Thread();

    /// Starts main() on a thread of its own; does nothing while that thread runs. Unless noWait, returns only when
    /// the new thread has begun. A thread that cannot be created is logged and raises EThread with the system's error
    /// code (pthread_create(3)); the object is then as it was before and may try again.
    void launch(bool noWait = false);
    /// The same for who cannot go on without the thread: one that cannot be created is logged and aborts the process.
    void run(bool noWait = false);
    /// Waits until the thread has ended, kNoLimit or so many milliseconds; whether it has. A thread that was never
    /// run has ended; joining oneself returns false at once.
    bool join(unsigned long timeoutMs = kNoLimit);
    /// Sends the running thread signal 9, which on POSIX systems ends the whole process: a last resort.
    void killThread();

    [[nodiscard]] bool isRunning() const;
    [[nodiscard]] bool isMyThread() const;
    [[nodiscard]] String getName() const;
    void setName(const String& name);
    /// The system's number for the running thread, 0 when none runs.
    [[nodiscard]] unsigned long getThreadId() const;
    /// Bytes, for the next run(); 0 is the system's default.
    void setStackSize(unsigned long bytes);

    /// The toolkit thread that calls, or null on a thread made by others.
    static Thread* getCurrentThread() noexcept;
    /// The name for log lines: the current thread's, or "thread-" and the system's number.
    static String currentName();
    static unsigned getNbCpus() noexcept;

    /// Gives up `mutex` (held by the caller), waits for wakeUp() or the time, takes it again.
    /// sleep() always waits its full time; wait() returns false when the time was up.
    void sleep(unsigned long milliseconds, IMutex& mutex);
    bool wait(unsigned long milliseconds, IMutex& mutex);
    void wakeUp();

    /// Keyed data of this thread; takes the object over.
    void setLocalData(const String& key, ThreadLocalData* data);
    [[nodiscard]] ThreadLocalData* getLocalData(const String& key) const;
    void removeLocalData(const String& key);

protected:
    /// The thread's body. An exception that leaves it is logged and ends this thread only.
    virtual void main() = 0;

private:
    friend class ThreadPrivate;
    friend class ThreadManager;
    friend class MainThread;

    /// For the initial thread's object, which is made while the process's globals are.
    explicit Thread(const String& name);

    // Shared with the running thread, which may still be leaving it when this object goes.
    std::shared_ptr<ThreadPrivate> m_private;
};

}  // namespace tessel
