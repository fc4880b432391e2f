// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <wx/stopwatch.h>
#include <wx/timer.h>

#include <functional>

#include "apps/nebrixclient/gui/modalstack.h"

namespace nebrix::gui {

/// Ends the program step by step, without ever blocking the GUI thread: takes down an open menu, then dialog after
/// dialog, waits for the session driver, and closes the main frame. A driver that has not ended after kPatience,
/// because a component blocks, is abandoned with a log line. GUI thread.
class QuitSequence final : private wxTimer {
public:
    static constexpr int kPatience = 5000;  ///< milliseconds

    /// `isRunning`: whether the driver still is; `close`: closes the main frame. Both must outlive this object.
    QuitSequence(std::function<bool()> isRunning, std::function<void()> close);

    void start();
    [[nodiscard]] bool started() const { return m_started; }
    /// Closes at once when nothing is in the way, else starts the sequence.
    void closeWhenFree();
    /// Brings the innermost modal dialog to the front; false when there is none.
    bool raiseDialog();

    /// Waits for the driver, which is asked to end already, at most kPatience, and ends the process: for when there is
    /// no event loop any more that could be kept going.
    [[noreturn]] void endWithoutDisplay();

private:
    void Notify() override;
    bool closeOneThing();

    ModalStack m_modals;
    const std::function<bool()> m_isRunning;
    const std::function<void()> m_close;
    wxStopWatch m_watch;
    bool m_started = false;
};

}  // namespace nebrix::gui
