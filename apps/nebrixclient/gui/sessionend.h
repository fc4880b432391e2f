// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>

namespace nebrix::gui {

/// Hears of the end of the desktop session: logging out through org.gnome.SessionManager on the session bus or an X
/// session manager (xsmpclient.h), shutting down through org.freedesktop.login1 on the system bus.
///
/// A session manager that asks first is told that this program has nothing to wait for. Services that are not there
/// leave no more than a log line. GUI thread only; nothing waits for a bus.
class SessionEnd {
public:
    /// `ended` is called on the GUI thread, at most once. It should start to quit and return, since the session
    /// manager's answer is sent after it; it may end this object. What it raises is logged.
    explicit SessionEnd(std::function<void()> ended);
    SessionEnd(const SessionEnd&) = delete;
    SessionEnd& operator=(const SessionEnd&) = delete;
    ~SessionEnd();

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace nebrix::gui
