// SPDX-License-Identifier: Apache-2.0
#include "libs/base/threadprivate.h"

#include <cxxabi.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <new>
#include <utility>

#include "libs/base/exception.h"
#include "libs/base/globals.h"
#include "libs/base/log.h"
#include "libs/base/numbers.h"
#include "libs/base/platform.h"
#include "libs/base/runtimesites.h"
#include "libs/base/threadname.h"

namespace tessel {

namespace {

String launchError(int code) {
    switch (code) {
        case EAGAIN:
            return "Not enough system resources to create the thread";
        case EINVAL:
            return "Invalid argument for attr";
        case EPERM:
            return "The caller does not have appropriate permission";
        case ENOMEM:
            return "Not enough memory to allocate a thread stack";
        default:
            return "thread not launched: " + toString(code);
    }
}

[[noreturn]] void launchFailed(int code) {
    const String words = launchError(code);
    const String reason = String::copy(std::strerror(code));
    log(LogCategory::Error, "Thread", "run", words);
    log(LogCategory::Error, "Thread", "run", reason);
    throw EThread(code, words + ": " + reason, String(sites::kThreadLaunch.file), sites::kThreadLaunch.line);
}

}  // namespace

ThreadPrivate::ThreadPrivate(Thread& owner, const String& name, Thread::Priority priority, bool synchronised)
    : m_priority(priority), m_synchronised(synchronised), m_owner(&owner), m_name(name) {}

/// What a running thread is known by while its main() runs; leaves also when the thread is cancelled.
class ThreadPrivate::Presence {
public:
    explicit Presence(ThreadPrivate& self) : m_self(self) { Globals::instance().threads().setCurrent(&m_self); }
    Presence(const Presence&) = delete;
    Presence& operator=(const Presence&) = delete;
    ~Presence() {
        Globals::instance().threads().setCurrent(nullptr);
        Globals::instance().threads().remove(m_self);
        m_self.leave();
    }

private:
    ThreadPrivate& m_self;
};

void* ThreadPrivate::threadFunction(void* argument) {
    const std::unique_ptr<std::shared_ptr<ThreadPrivate>> self(static_cast<std::shared_ptr<ThreadPrivate>*>(argument));
    const Presence presence(**self);
    (*self)->begin();
    (*self)->callMain();
    return nullptr;
}

void ThreadPrivate::begin() {
    platform::nameCurrentThread(name());
    if (m_priority != 0) {
        platform::prioritiseCurrentThread(m_priority);
    }
    const Lock lock(m_mutex);
    m_threadId = platform::currentThreadId();
    m_state = State::Running;
    m_started.broadcast();
}

void ThreadPrivate::callMain() {
    try {
        owner()->main();
    } catch (const Exception& caught) {
        logCaught(caught, sites::kThreadHandler);
        log(LogCategory::Error, "Thread", "thread_func", "Exception caught in main()");
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (...) {
        log(LogCategory::Error, "Thread", "thread_func", "Exception caught in main()");
    }
}

void ThreadPrivate::leave() {
    LocalData dropped;
    {
        const Lock lock(m_mutex);
        dropped.swap(m_localData);
    }
    // The data's destructors may use this thread: it has not ended yet.
    dropped.clear();
    const Lock lock(m_mutex);
    if (m_synchronised) {
        Globals::instance().synchroThread().remove(*this);
    }
    m_state = State::Ended;
    m_endedCondition.broadcast();
}

void ThreadPrivate::launch(bool noWait) {
    UniqueLock lock(m_mutex);
    if (active()) {
        return;
    }
    reap();
    m_state = State::Starting;
    m_generation.store(ForkGate::generation());
    ++m_run;
    if (const int code = create(); code != 0) {
        m_state = State::Idle;
        lock.unlock();
        launchFailed(code);
    }
    m_reapable = true;
    while (!noWait && m_state == State::Starting) {
        m_started.wait(lock);
    }
}

int ThreadPrivate::create() {
    pthread_attr_t attributes;
    ::pthread_attr_init(&attributes);
    int code = m_stackSize == 0 ? 0 : ::pthread_attr_setstacksize(&attributes, m_stackSize);
    if (code == 0) {
        try {
            // Nothing that the new thread does at its beginning may need memory: there would be nobody to tell.
            auto self = std::make_unique<std::shared_ptr<ThreadPrivate>>(shared_from_this());
            enlist();
            code = ::pthread_create(&m_handle, &attributes, &threadFunction, self.get());
            if (code == 0) {
                static_cast<void>(self.release());
            }
        } catch (const std::bad_alloc&) {
            code = ENOMEM;
        }
    }
    ::pthread_attr_destroy(&attributes);
    if (code != 0) {
        strikeOff();
    }
    return code;
}

void ThreadPrivate::enlist() {
    Globals::instance().threads().add(shared_from_this());
    // Counted before it begins, so that an exit of the process at any moment finds it.
    if (m_synchronised) {
        Globals::instance().synchroThread().add(shared_from_this());
    }
}

void ThreadPrivate::strikeOff() {
    Globals::instance().threads().remove(*this);
    if (m_synchronised) {
        Globals::instance().synchroThread().remove(*this);
    }
}

void ThreadPrivate::reap() {
    // After its end the thread needs the mutex no more, so that it may be held here.
    if (std::exchange(m_reapable, false) && !elsewhere()) {
        ::pthread_join(m_handle, nullptr);
    }
}

bool ThreadPrivate::join(unsigned long timeoutMs) {
    if (elsewhere()) {
        return true;
    }
    if (isMyThread()) {
        return false;
    }
    UniqueLock lock(m_mutex);
    const auto ended = [this, run = m_run] { return !active() || m_run != run; };
    while (timeoutMs == Thread::kNoLimit && !ended()) {
        m_endedCondition.wait(lock);
    }
    if (timeoutMs != Thread::kNoLimit) {
        constexpr unsigned long kLongest = 0xFFFF'FFFF;
        if (!m_endedCondition.wait(lock, static_cast<unsigned>(std::min(timeoutMs, kLongest)), ended)) {
            return false;
        }
    }
    if (m_state == State::Ended) {
        reap();
    }
    return true;
}

void ThreadPrivate::kill() {
    UniqueLock lock(m_mutex);
    if (!active()) {
        return;
    }
    ::pthread_kill(m_handle, SIGKILL);
    const LocalData dropped = std::exchange(m_localData, {});
    m_endedCondition.broadcast();
    if (m_synchronised) {
        Globals::instance().synchroThread().remove(*this);
    }
    lock.unlock();
}

void ThreadPrivate::abandon() {
    if (elsewhere()) {
        return;
    }
    const bool mine = isMyThread();
    const Lock lock(m_mutex);
    m_owner = nullptr;
    if (m_state == State::Ended && !mine) {
        reap();
    } else if (std::exchange(m_reapable, false)) {
        ::pthread_detach(m_handle);
    }
}

void ThreadPrivate::adoptInitialThread() {
    const Lock lock(m_mutex);
    m_state = State::Running;
    m_handle = ::pthread_self();
    m_threadId = platform::currentThreadId();
}

bool ThreadPrivate::isRunning() const {
    if (elsewhere()) {
        return false;
    }
    const Lock lock(m_mutex);
    return active();
}

bool ThreadPrivate::isMyThread() const {
    const Lock lock(m_mutex);
    return m_state == State::Running && m_threadId == platform::currentThreadId();
}

unsigned long ThreadPrivate::threadId() const {
    const Lock lock(m_mutex);
    return m_state == State::Running ? m_threadId : 0;
}

String ThreadPrivate::name() const {
    const Lock lock(m_mutex);
    return m_name;
}

void ThreadPrivate::setName(const String& name) {
    {
        const Lock lock(m_mutex);
        m_name = name;
    }
    threadNamesChanged();
}

void ThreadPrivate::setStackSize(unsigned long bytes) {
    const Lock lock(m_mutex);
    m_stackSize = bytes;
}

Thread* ThreadPrivate::owner() const {
    const Lock lock(m_mutex);
    return m_owner;
}

bool ThreadPrivate::wait(unsigned long milliseconds, IMutex& mutex) {
    // The caller holds the mutex before and after.
    UniqueLock lock(mutex, std::adopt_lock);
    bool woken = true;
    if (milliseconds == Thread::kNoLimit) {
        m_wake.wait(lock);
    } else {
        constexpr unsigned long kLongest = 0xFFFF'FFFF;
        woken = m_wake.wait(lock, static_cast<unsigned>(std::min(milliseconds, kLongest)));
    }
    lock.release();
    return woken;
}

void ThreadPrivate::setLocalData(const String& key, std::unique_ptr<ThreadLocalData> data) {
    {
        const Lock lock(m_mutex);
        m_localData[key].swap(data);
    }
    // What the key held before goes here, outside the mutex.
}

ThreadLocalData* ThreadPrivate::localData(const String& key) const {
    const Lock lock(m_mutex);
    const auto found = m_localData.find(key);
    return found == m_localData.end() ? nullptr : found->second.get();
}

void ThreadPrivate::removeLocalData(const String& key) {
    LocalData::node_type dropped;
    const Lock lock(m_mutex);
    dropped = m_localData.extract(key);
}

}  // namespace tessel
