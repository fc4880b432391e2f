// SPDX-License-Identifier: Apache-2.0
#include "libs/base/thread.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <new>
#include <thread>

#include "libs/base/console.h"
#include "libs/base/globals.h"
#include "libs/base/threadname.h"
#include "libs/base/threadprivate.h"

namespace tessel {

namespace {

[[noreturn]] void endProcess() {
    constexpr unsigned kLastWordsMilliseconds = 1000;
    if (Console* const console = Console::instance()) {
        console->flush(kLastWordsMilliseconds);
    }
    std::abort();
}

}  // namespace

Thread::Thread(const String& name, Priority priority, bool synchronised)
    : m_private(std::make_shared<ThreadPrivate>(*this, name, priority, synchronised)) {
    // Before this object stands, so that a static thread is destroyed before the wait at exit.
    Globals::instance();
}

Thread::Thread(const String& name) : m_private(std::make_shared<ThreadPrivate>(*this, name, 0, false)) {}

Thread::~Thread() { m_private->abandon(); }

void Thread::launch(bool noWait) { m_private->launch(noWait); }

void Thread::run(bool noWait) {
    try {
        launch(noWait);
    } catch (const EThread&) {
        endProcess();
    } catch (const std::bad_alloc&) {
        endProcess();
    }
}

bool Thread::join(unsigned long timeoutMs) { return m_private->join(timeoutMs); }
void Thread::killThread() { m_private->kill(); }

bool Thread::isRunning() const { return m_private->isRunning(); }
bool Thread::isMyThread() const { return m_private->isMyThread(); }
String Thread::getName() const { return m_private->name(); }
void Thread::setName(const String& name) { m_private->setName(name); }
unsigned long Thread::getThreadId() const { return m_private->threadId(); }
void Thread::setStackSize(unsigned long bytes) { m_private->setStackSize(bytes); }

Thread* Thread::getCurrentThread() noexcept { return Globals::instance().threads().current(); }
String Thread::currentName() { return currentThreadName(); }
unsigned Thread::getNbCpus() noexcept { return std::max(1U, std::thread::hardware_concurrency()); }

void Thread::sleep(unsigned long milliseconds, IMutex& mutex) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            return;
        }
        m_private->wait(static_cast<unsigned long>(left.count()), mutex);
    }
}

bool Thread::wait(unsigned long milliseconds, IMutex& mutex) { return m_private->wait(milliseconds, mutex); }
void Thread::wakeUp() { m_private->wakeUp(); }

void Thread::setLocalData(const String& key, ThreadLocalData* data) {
    m_private->setLocalData(key, std::unique_ptr<ThreadLocalData>(data));
}
ThreadLocalData* Thread::getLocalData(const String& key) const { return m_private->localData(key); }
void Thread::removeLocalData(const String& key) { m_private->removeLocalData(key); }

}  // namespace tessel
