// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>

#include "apps/nebrixclient-cli/eventline.h"
#include "apps/nebrixclient-cli/servicestate.h"
#include "apps/nebrixclient/account.h"
#include "apps/nebrixclient/notify.h"
#include "libs/base/mutex.h"

namespace tessel {

/// The program's exit codes.
enum class ExitCode : int { Wanted = 0, Failed = 1, Usage = 2, Unreachable = 3 };

/// What an end means for whoever started the program: Wanted only for an end that somebody wanted, unless the component
/// asked for it at once, which components do when they cannot go on.
ExitCode exitCodeOf(const SessionEnd& end) noexcept;

/// Turns each notification into a line and keeps how the session ended.
///
/// Notifications come on the driver's thread, end() is asked on the main thread: both take the lock.
class HeadlessListener final : public INebrixClientNotify, public IAccountNotify {
public:
    using Print = std::function<void(const String& line)>;
    using Ended = std::function<void()>;
    using Tell = std::function<void(const String& message)>;

    /// `tell` gets each message for the service manager (ServiceState); it, `print` and `ended` are called on the
    /// driver's thread; `ended` once the session is over. With changesOnly a VPN line that equals the one before is not
    /// printed.
    HeadlessListener(eventline::Form form, bool changesOnly, Print print, Tell tell, Ended ended);

    void onConnectError(const RequestInfo& request) override;
    void onFatalError(const String& text) override;
    void onStatus(const ClientStatus& status) override;
    void onVpnStatus(const String& line) override;
    void onDispatch(ClientType type) override;
    void onSessionEnd(const SessionEnd& end) noexcept override;

    /// Nothing while the session goes on.
    [[nodiscard]] std::optional<SessionEnd> end() const;

private:
    void finish();

    const eventline::Form m_form;
    const bool m_changesOnly;
    const Print m_print;
    const Tell m_tell;
    const Ended m_ended;
    // The driver's thread only:
    ServiceState m_service;
    std::optional<String> m_lastVpnLine;
    SessionEnd m_account;

    mutable Mutex m_mutex;
    std::optional<SessionEnd> m_end;  // guarded by m_mutex
};

}  // namespace tessel
