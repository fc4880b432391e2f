// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient-cli/headlesslistener.h"

#include "libs/curl/requestinfo.h"

namespace tessel {

ExitCode exitCodeOf(const SessionEnd& end) noexcept {
    if (end.wanted() && end.cause != EndCause::AskedAtOnce) {
        return ExitCode::Wanted;
    }
    return end.unreachable() ? ExitCode::Unreachable : ExitCode::Failed;
}

HeadlessListener::HeadlessListener(eventline::Form form, bool changesOnly, Print print, Tell tell, Ended ended)
    : m_form(form),
      m_changesOnly(changesOnly),
      m_print(std::move(print)),
      m_tell(std::move(tell)),
      m_ended(std::move(ended)) {}

void HeadlessListener::onConnectError(const RequestInfo& request) {
    m_print(eventline::connectError(m_form, request));
    finish();
}

void HeadlessListener::onFatalError(const String& text) {
    m_print(eventline::fatalError(m_form, text));
    finish();
}

void HeadlessListener::onStatus(const ClientStatus& status) {
    m_print(eventline::status(m_form, status));
    m_tell(m_service.onStatus(status));
    if (status == ClientStatus::SessionOver) {
        finish();
    }
}

void HeadlessListener::onVpnStatus(const String& line) {
    m_tell(m_service.onVpn(line));
    if (m_changesOnly && m_lastVpnLine == line) {
        return;
    }
    m_lastVpnLine = line;
    m_print(eventline::vpn(m_form, line));
}

void HeadlessListener::onDispatch(ClientType type) { m_print(eventline::dispatch(m_form, type)); }

void HeadlessListener::onSessionEnd(const SessionEnd& end) noexcept {
    m_account = end;
    if (m_form == eventline::Form::Json) {
        try {
            m_print(eventline::end(end));
        } catch (...) {
            // Memory has ended: the exit code still tells.
        }
    }
}

void HeadlessListener::finish() {
    {
        Lock lock(m_mutex);
        m_end = m_account;
    }
    m_ended();
    try {
        m_tell(m_service.onEnd(m_account, exitCodeOf(m_account) == ExitCode::Wanted));
        m_tell(ServiceState::kStopping);
    } catch (...) {
        // Memory has ended: the exit code still tells.
    }
}

std::optional<SessionEnd> HeadlessListener::end() const {
    Lock lock(m_mutex);
    return m_end;
}

}  // namespace tessel
