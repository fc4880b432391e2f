// SPDX-License-Identifier: Apache-2.0
#include "libs/base/synchrothread.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <string_view>

#include "libs/base/platform.h"
#include "libs/base/threadprivate.h"

namespace tessel {

namespace {

constexpr unsigned kReportMilliseconds = 500;

}  // namespace

void SynchroThread::add(std::shared_ptr<ThreadPrivate> thread) {
    const Lock lock(m_mutex);
    m_running.push_back(std::move(thread));
}

void SynchroThread::remove(const ThreadPrivate& thread) {
    std::shared_ptr<ThreadPrivate> dropped;
    const Lock lock(m_mutex);
    const auto found =
        std::find_if(m_running.begin(), m_running.end(), [&](const auto& item) { return item.get() == &thread; });
    if (found == m_running.end()) {
        return;
    }
    dropped = std::move(*found);
    m_running.erase(found);
    if (m_running.empty()) {
        m_semaphore.release();
    }
}

unsigned SynchroThread::count() const {
    const Lock lock(m_mutex);
    return static_cast<unsigned>(m_running.size());
}

bool SynchroThread::wait(unsigned milliseconds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    while (count() != 0) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        if (left.count() <= 0 || !m_semaphore.acquire(static_cast<unsigned>(left.count()))) {
            return count() == 0;
        }
    }
    return true;
}

void SynchroThread::waitAtExit() {
    if (wait(m_limit)) {
        return;
    }
    // Names are asked for without the lock: a thread's own mutex comes first in the lock order.
    std::vector<std::shared_ptr<ThreadPrivate>> survivors;
    {
        const Lock lock(m_mutex);
        survivors = m_running;
    }
    std::string report = "SynchroThread::~SynchroThread\tcannot wait for all threads termination for: " +
                         std::to_string(m_limit / 1000) + "s\ngot " + std::to_string(survivors.size()) +
                         " remaining threads\nSurvivors:\n";
    for (const auto& survivor : survivors) {
        report.append(survivor->name().view()).append("\n");
    }
    std::string_view left = report;
    platform::writeWithin(STDERR_FILENO, left, kReportMilliseconds);
}

}  // namespace tessel
