// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

namespace bench {

/// A second thread that waits while the benchmarks run. Programs of this system always have one, and the C++ library
/// leaves out locked instructions while a process has only one: without this, std::shared_ptr would be measured in a
/// state that it never has here.
class RunningThread {
public:
    RunningThread() : m_thread([this] { waitForEnd(); }) {}
    RunningThread(const RunningThread&) = delete;
    RunningThread& operator=(const RunningThread&) = delete;
    ~RunningThread() {
        {
            const std::lock_guard lock(m_mutex);
            m_ended = true;
        }
        m_condition.notify_one();
        m_thread.join();
    }

private:
    void waitForEnd() {
        std::unique_lock lock(m_mutex);
        m_condition.wait(lock, [this] { return m_ended; });
    }

    std::mutex m_mutex;
    std::condition_variable m_condition;
    bool m_ended = false;
    std::thread m_thread;
};

inline const RunningThread runningThread;

}  // namespace bench
