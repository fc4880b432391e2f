// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/backgroundworker.h"

#include <deque>
#include <exception>
#include <utility>

#include "libs/base/condition.h"
#include "libs/base/exception.h"
#include "libs/base/log.h"

namespace nebrix::gui {
namespace {

constexpr const char* kClass = "BackgroundWorker";
constexpr tessel::RaiseSite kTaskCatch{"apps/nebrixclient/gui/backgroundworker", 90};

}  // namespace

struct GuiCalls::Sender::Link {
    tessel::Mutex mutex;
    wxEvtHandler* handler = nullptr;  // guarded by mutex; null once the GuiCalls is gone
};

void GuiCalls::Sender::post(const std::function<void()>& call) const {
    const tessel::Lock lock(m_link->mutex);
    if (m_link->handler != nullptr) {
        m_link->handler->CallAfter(call);
    }
}

bool GuiCalls::Sender::connected() const {
    const tessel::Lock lock(m_link->mutex);
    return m_link->handler != nullptr;
}

GuiCalls::GuiCalls() : m_link(std::make_shared<Sender::Link>()) { m_link->handler = &m_handler; }

// The handler itself drops what is queued on it.
GuiCalls::~GuiCalls() {
    const tessel::Lock lock(m_link->mutex);
    m_link->handler = nullptr;
}

struct BackgroundWorker::Queue {
    tessel::Mutex mutex;
    tessel::Condition changed;
    // Guarded by mutex:
    std::deque<Task> tasks;
    bool running = false;  // a task
    bool ending = false;
};

BackgroundWorker::BackgroundWorker() : Thread("files", 0, true), m_queue(std::make_unique<Queue>()) { launch(); }

BackgroundWorker::~BackgroundWorker() {
    {
        const tessel::Lock lock(m_queue->mutex);
        m_queue->ending = true;
    }
    m_queue->changed.broadcast();
    join();
}

void BackgroundWorker::post(Task task) {
    {
        const tessel::Lock lock(m_queue->mutex);
        m_queue->tasks.push_back(std::move(task));
    }
    m_queue->changed.broadcast();
}

bool BackgroundWorker::finish(unsigned milliseconds) {
    if (isMyThread()) {
        return true;
    }
    tessel::UniqueLock lock(m_queue->mutex);
    return m_queue->changed.wait(lock, milliseconds, [this] { return m_queue->tasks.empty() && !m_queue->running; });
}

void BackgroundWorker::main() {
    tessel::UniqueLock lock(m_queue->mutex);
    while (!m_queue->ending || !m_queue->tasks.empty()) {
        if (m_queue->tasks.empty()) {
            m_queue->changed.wait(lock);
            continue;
        }
        {
            const Task task = std::move(m_queue->tasks.front());
            m_queue->tasks.pop_front();
            m_queue->running = true;
            lock.unlock();
            runTask(task);
        }  // What the task holds goes before the lock is taken again: it may post.
        lock.lock();
        m_queue->running = false;
        m_queue->changed.broadcast();
    }
}

void BackgroundWorker::runTask(const Task& task) noexcept {
    try {
        task();
    } catch (const tessel::Exception& caught) {
        tessel::logCaught(caught, kTaskCatch);
    } catch (const std::exception& caught) {
        tessel::log(tessel::LogCategory::Error, kClass, "runTask", caught.what());
    } catch (...) {
        tessel::log(tessel::LogCategory::Error, kClass, "runTask", "unknown exception");
    }
}

}  // namespace nebrix::gui
