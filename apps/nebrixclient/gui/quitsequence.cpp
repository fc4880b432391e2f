// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/quitsequence.h"

#include <wx/dialog.h>
#include <wx/utils.h>

#include "apps/nebrixclient/gui/desktop.h"
#include "libs/base/console.h"
#include "libs/base/log.h"

namespace nebrix::gui {

namespace {

constexpr int kStep = 20;  // milliseconds
constexpr unsigned kFlush = 500;
constexpr int kAbandoned = 1;
constexpr const char* kBlocked = "the component does not end; the program ends without it";

[[noreturn]] void leave(const char* reason) {
    tessel::log(tessel::LogCategory::Error, "NebrixMainFrame", "stop", reason);
    if (const tessel::gc::Pointer<tessel::Console> console = tessel::Console::current(); console.valid()) {
        console->flush(kFlush);
    }
    desktop::abandonProcess(kAbandoned);
}

}  // namespace

QuitSequence::QuitSequence(std::function<bool()> isRunning, std::function<void()> close)
    : m_isRunning(std::move(isRunning)), m_close(std::move(close)) {}

void QuitSequence::start() {
    if (!m_started) {
        m_started = true;
        m_watch.Start();
        Start(kStep);
    }
}

void QuitSequence::closeWhenFree() {
    if (m_started || m_modals.top() != nullptr || desktop::closePopupMenu()) {
        start();
    } else {
        m_close();
    }
}

bool QuitSequence::raiseDialog() {
    if (m_modals.top() != nullptr) {
        desktop::takeKeyboard(*m_modals.top());
    }
    return m_modals.top() != nullptr;
}

void QuitSequence::endWithoutDisplay() {
    const wxStopWatch watch;
    while (m_isRunning()) {
        if (watch.Time() >= kPatience) {
            leave(kBlocked);
        }
        wxMilliSleep(kStep);
    }
    leave("the display is gone, and the program with it");
}

bool QuitSequence::closeOneThing() {
    if (desktop::closePopupMenu()) {
        return true;
    }
    wxDialog* const dialog = m_modals.top();
    if (dialog != nullptr) {
        desktop::endModal(*dialog);
    }
    return dialog != nullptr;
}

void QuitSequence::Notify() {
    if (closeOneThing()) {
        return;
    }
    if (!m_isRunning()) {
        Stop();
        m_close();
    } else if (m_watch.Time() >= kPatience) {
        leave(kBlocked);
    }
}

}  // namespace nebrix::gui
