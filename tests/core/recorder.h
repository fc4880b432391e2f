// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "apps/nebrixclient/account.h"
#include "apps/nebrixclient/notify.h"
#include "libs/base/condition.h"
#include "libs/curl/requestinfo.h"

namespace tessel::test {

using Lines = std::vector<std::string>;

/// Keeps every notification and the account as one word line, for comparison and for waiting. Any thread.
class NotifyRecorder final : public INebrixClientNotify, public IAccountNotify {
public:
    void onConnectError(const RequestInfo& /*request*/) override { add("connect-error"); }
    void onFatalError(const String& text) override { add("fatal-error" + std::string(text.view())); }
    void onStatus(const ClientStatus& status) override { add("status " + std::to_string(static_cast<int>(status))); }
    void onVpnStatus(const String& line) override { add("vpn " + std::string(line.view())); }
    void onDispatch(ClientType type) override { add("dispatch " + std::to_string(static_cast<int>(type))); }
    void onSessionEnd(const SessionEnd& end) noexcept override { add(std::string("end ") + name(end.kind)); }

    [[nodiscard]] Lines lines() const {
        Lock lock(m_mutex);
        return m_lines;
    }
    /// Without VPN lines that repeat the one before them, as polls bring them.
    [[nodiscard]] Lines changes() const {
        Lock lock(m_mutex);
        return changesLocked();
    }
    void clear() {
        Lock lock(m_mutex);
        m_lines.clear();
    }
    /// Whether the line came, now or within half a minute.
    bool waitFor(const std::string& line, int times = 1) {
        UniqueLock lock(m_mutex);
        return m_condition.wait(lock, 30000, [&] { return std::ranges::count(m_lines, line) >= times; });
    }
    bool waitForChanges(std::size_t atLeast) {
        UniqueLock lock(m_mutex);
        return m_condition.wait(lock, 30000, [&] { return changesLocked().size() >= atLeast; });
    }
    /// Called once, from within the next notification. Set while no session runs.
    void onNext(std::function<void()> call) { m_next = std::move(call); }

private:
    [[nodiscard]] Lines changesLocked() const {
        Lines changed = m_lines;
        const auto repeats = [](const auto& a, const auto& b) { return a == b && a.starts_with("vpn "); };
        changed.erase(std::unique(changed.begin(), changed.end(), repeats), changed.end());
        return changed;
    }
    void add(const std::string& line) {
        {
            Lock lock(m_mutex);
            m_lines.push_back(line);
            m_condition.broadcast();
        }
        if (const auto call = std::exchange(m_next, nullptr)) {
            call();
        }
    }
    mutable Mutex m_mutex;
    Condition m_condition;
    Lines m_lines;  // guarded by m_mutex
    std::function<void()> m_next;
};

/// Keeps the last news of a download. Any thread.
class TransferRecorder final : public IProgressNotify {
public:
    void onTransfer(std::uint64_t received, std::uint64_t expected, bool over) noexcept override {
        m_begun = m_begun || (received == 0 && !over);
        m_received = received;
        m_expected = expected;
        m_over = over;
    }
    void onNextHostCheck(unsigned milliseconds) noexcept override {
        m_nextCheck = milliseconds;
        m_nextCheck.notify_all();
    }
    void onComponentSilent(bool /*silent*/) noexcept override { ++m_silences; }

    /// How often the component fell silent or came back.
    [[nodiscard]] unsigned silences() const { return m_silences; }
    [[nodiscard]] bool begun() const { return m_begun; }
    [[nodiscard]] std::uint64_t received() const { return m_received; }
    [[nodiscard]] std::uint64_t expected() const { return m_expected; }
    [[nodiscard]] bool over() const { return m_over; }
    /// Waits for the first one.
    [[nodiscard]] unsigned nextCheck() const {
        m_nextCheck.wait(0);
        return m_nextCheck;
    }

private:
    std::atomic<unsigned> m_silences{0};
    std::atomic<bool> m_begun{false};
    std::atomic<std::uint64_t> m_received{0};
    std::atomic<std::uint64_t> m_expected{0};
    std::atomic<bool> m_over{false};
    std::atomic<unsigned> m_nextCheck{0};
};

}  // namespace tessel::test
