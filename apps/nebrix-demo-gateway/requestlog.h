// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

namespace tessel::gateway {

/// A request as it came in.
struct RecordedRequest {
    std::string method;
    /// Path and query, as written.
    std::string target;
    /// The values of these headers, empty when they were not sent.
    std::string cookie;
    std::string userAgent;
    std::string body;
};

/// The requests in order of their arrival. Synchronises itself.
class RequestLog {
public:
    void add(RecordedRequest request);
    [[nodiscard]] std::vector<RecordedRequest> all() const;
    /// How many of them have a target that begins so.
    [[nodiscard]] unsigned count(const std::string& targetStart) const;
    /// Waits until there are that many; false when time is up before.
    bool waitFor(const std::string& targetStart, unsigned atLeast, std::chrono::milliseconds limit) const;

private:
    [[nodiscard]] unsigned countLocked(const std::string& targetStart) const;

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_added;
    std::vector<RecordedRequest> m_requests;  // guarded by m_mutex
};

}  // namespace tessel::gateway
