// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>

#include "apps/nebrixclient/gui/backgroundworker.h"

namespace nebrix::gui {

/// Hears of the end of a session whose manager speaks the X Session Management Protocol 1.0, as KDE's and Xfce's do.
///
/// The manager learns that this program wants no restart, and nothing of its argument. libICE waits for the manager
/// while it connects, so that the protocol is spoken by a thread named "xsmp". GUI thread only.
class XsmpClient {
public:
    /// Does nothing where the environment names no session manager (SESSION_MANAGER). `ended` is called on the GUI
    /// thread, each time that the manager asks the program to end.
    explicit XsmpClient(std::function<void()> ended);
    XsmpClient(const XsmpClient&) = delete;
    XsmpClient& operator=(const XsmpClient&) = delete;
    /// No call of `ended` follows. The thread of a manager that does not answer is left behind after 200 milliseconds.
    ~XsmpClient();

private:
    class Speaker;

    GuiCalls m_calls;
    std::unique_ptr<Speaker> m_speaker;  // null without a manager
};

}  // namespace nebrix::gui
