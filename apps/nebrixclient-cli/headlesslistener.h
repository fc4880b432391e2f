#pragma once

#include <functional>
#include <optional>

#include "apps/nebrixclient-cli/eventline.h"
#include "apps/nebrixclient/notify.h"
#include "libs/base/mutex.h"

namespace tessel {

/// How a headless session ended; the values are the program's exit codes.
enum class Outcome : int { SessionOver = 0, FatalError = 1, Unreachable = 3 };

/// Turns each notification into a line and keeps how the session ended.
///
/// Notifications come on the driver's thread, outcome() and details() are asked on the main thread: both take the lock.
class HeadlessListener final : public INebrixClientNotify {
public:
    using Print = std::function<void(const String& line)>;
    using Ended = std::function<void()>;

    /// `print` and `ended` are called on the driver's thread; `ended` once the outcome is known.
    /// With changesOnly a VPN line that equals the one before is not printed.
    HeadlessListener(eventline::Form form, bool changesOnly, Print print, Ended ended);

    void onConnectError(const RequestInfo& request) override;
    void onFatalError(const String& text) override;
    void onStatus(const ClientStatus& status) override;
    void onVpnStatus(const String& line) override;
    void onDispatch(ClientType type) override;

    [[nodiscard]] std::optional<Outcome> outcome() const;
    /// Why the gateway could not be reached: libcurl's code and words.
    [[nodiscard]] int errorCode() const;
    [[nodiscard]] String errorText() const;

private:
    void end(Outcome outcome);

    const eventline::Form m_form;
    const bool m_changesOnly;
    const Print m_print;
    const Ended m_ended;
    std::optional<String> m_lastVpnLine;  // the driver's thread only

    mutable Mutex m_mutex;  // guards all below
    std::optional<Outcome> m_outcome;
    int m_errorCode = 0;
    String m_errorText;
};

}  // namespace tessel
