#pragma once

#include <algorithm>
#include <atomic>
#include <string>
#include <vector>

#include "apps/nebrixclient/notify.h"
#include "libs/base/condition.h"
#include "libs/curl/requestinfo.h"

namespace tessel::test {

/// Keeps every notification as one word line, for comparison and for waiting. Any thread.
class NotifyRecorder final : public INebrixClientNotify {
public:
    void onConnectError(const RequestInfo& /*request*/) override { add("connect-error"); }
    void onFatalError(const String& text) override { add("fatal-error " + std::string(text.view())); }
    void onStatus(const ClientStatus& status) override { add("status " + std::to_string(static_cast<int>(status))); }
    void onVpnStatus(const String& line) override { add("vpn " + std::string(line.view())); }
    void onDispatch(ClientType type) override { add("dispatch " + std::to_string(static_cast<int>(type))); }

    [[nodiscard]] std::vector<std::string> lines() const {
        Lock lock(m_mutex);
        return m_lines;
    }
    void clear() {
        Lock lock(m_mutex);
        m_lines.clear();
    }
    /// Whether the line came, now or within ten seconds.
    bool waitFor(const std::string& line, int times = 1) {
        UniqueLock lock(m_mutex);
        return m_condition.wait(lock, 10000, [&] { return std::ranges::count(m_lines, line) >= times; });
    }

private:
    void add(const std::string& line) {
        Lock lock(m_mutex);
        m_lines.push_back(line);
        m_condition.broadcast();
    }
    mutable Mutex m_mutex;
    Condition m_condition;
    std::vector<std::string> m_lines;  // guarded by m_mutex
};

/// Keeps the last news of a download. Any thread.
class TransferRecorder final : public IProgressNotify {
public:
    void onTransfer(std::uint64_t received, std::uint64_t /*expected*/, bool over) noexcept override {
        m_received = received;
        m_over = over;
    }
    void onNextHostCheck(unsigned milliseconds) noexcept override { m_nextCheck = milliseconds; }

    [[nodiscard]] std::uint64_t received() const { return m_received; }
    [[nodiscard]] bool over() const { return m_over; }
    [[nodiscard]] unsigned nextCheck() const { return m_nextCheck; }

private:
    std::atomic<std::uint64_t> m_received{0};
    std::atomic<bool> m_over{false};
    std::atomic<unsigned> m_nextCheck{0};
};

}  // namespace tessel::test
