// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-demo-gateway/requestlog.h"

#include <algorithm>
#include <utility>

namespace tessel::gateway {

void RequestLog::add(RecordedRequest request) {
    const std::lock_guard lock(m_mutex);
    m_requests.push_back(std::move(request));
    m_added.notify_all();
}

std::vector<RecordedRequest> RequestLog::all() const {
    const std::lock_guard lock(m_mutex);
    return m_requests;
}

unsigned RequestLog::count(const std::string& targetStart) const {
    const std::lock_guard lock(m_mutex);
    return countLocked(targetStart);
}

bool RequestLog::waitFor(const std::string& targetStart, unsigned atLeast, std::chrono::milliseconds limit) const {
    std::unique_lock lock(m_mutex);
    return m_added.wait_for(lock, limit, [&] { return countLocked(targetStart) >= atLeast; });
}

unsigned RequestLog::countLocked(const std::string& targetStart) const {
    return static_cast<unsigned>(std::ranges::count_if(
        m_requests, [&](const RecordedRequest& request) { return request.target.starts_with(targetStart); }));
}

}  // namespace tessel::gateway
