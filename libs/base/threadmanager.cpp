// SPDX-License-Identifier: Apache-2.0
#include "libs/base/threadmanager.h"

#include "libs/base/log.h"
#include "libs/base/platform.h"
#include "libs/base/threadprivate.h"

namespace tessel {

void MainThread::adopt() { m_private->adoptInitialThread(); }

void MainThread::main() { log(LogCategory::Error, "MainThread", "main", "NEVER CALL ME"); }

void ThreadManager::init() {
    try {
        m_mainThread = std::make_unique<MainThread>();
    } catch (...) {
        // The initial thread is then one that was made by others.
    }
    m_keyMade = ::pthread_key_create(&m_key, nullptr) == 0;
    if (!m_keyMade) {
        log(LogCategory::Error, "ThreadManager", "init", "Unable to create the currentThreadKey");
    }
    if (m_mainThread != nullptr && platform::isInitialThread()) {
        adoptInitialThread();
    }
}

void ThreadManager::adoptInitialThread() {
    m_mainThread->adopt();
    setCurrent(m_mainThread->m_private.get());
}

void ThreadManager::setCurrent(ThreadPrivate* thread) noexcept {
    if (m_keyMade) {
        ::pthread_setspecific(m_key, thread);
    }
}

void ThreadManager::add(std::shared_ptr<ThreadPrivate> thread) {
    const Lock lock(m_section);
    const ThreadPrivate* const key = thread.get();
    m_running.insert_or_assign(key, std::move(thread));
}

void ThreadManager::remove(const ThreadPrivate& thread) {
    std::shared_ptr<ThreadPrivate> dropped;
    const Lock lock(m_section);
    if (const auto found = m_running.find(&thread); found != m_running.end()) {
        dropped = std::move(found->second);
        m_running.erase(found);
    }
}

Thread* ThreadManager::current() noexcept {
    if (!m_keyMade) {
        return nullptr;
    }
    auto* thread = static_cast<ThreadPrivate*>(::pthread_getspecific(m_key));
    if (thread == nullptr && m_mainThread != nullptr && platform::isInitialThread()) {
        // The globals were made by another thread.
        adoptInitialThread();
        return m_mainThread.get();
    }
    return thread == nullptr ? nullptr : thread->owner();
}

unsigned ThreadManager::count() const {
    const Lock lock(m_section);
    return static_cast<unsigned>(m_running.size());
}

void ThreadManager::killAllThreads() {
    UniqueLock lock(m_section);
    while (!m_running.empty()) {
        const std::shared_ptr<ThreadPrivate> thread = std::move(m_running.begin()->second);
        m_running.erase(m_running.begin());
        // Released around each kill, so that the dying thread can take its leave.
        lock.unlock();
        thread->kill();
        lock.lock();
    }
}

}  // namespace tessel
