#include "apps/nebrixclient-cli/headlesslistener.h"

#include "libs/curl/requestinfo.h"

namespace tessel {

HeadlessListener::HeadlessListener(eventline::Form form, bool changesOnly, Print print, Ended ended)
    : m_form(form), m_changesOnly(changesOnly), m_print(std::move(print)), m_ended(std::move(ended)) {}

void HeadlessListener::onConnectError(const RequestInfo& request) {
    m_print(eventline::connectError(m_form, request));
    {
        Lock lock(m_mutex);
        m_errorCode = request.getCode();
        m_errorText = request.getErrorBuffer().empty() ? request.getErrorString() : request.getErrorBuffer();
    }
    end(Outcome::Unreachable);
}

void HeadlessListener::onFatalError(const String& text) {
    m_print(eventline::fatalError(m_form, text));
    end(Outcome::FatalError);
}

void HeadlessListener::onStatus(const ClientStatus& status) {
    m_print(eventline::status(m_form, status));
    if (status == ClientStatus::SessionOver) {
        end(Outcome::SessionOver);
    }
}

void HeadlessListener::onVpnStatus(const String& line) {
    if (m_changesOnly && m_lastVpnLine == line) {
        return;
    }
    m_lastVpnLine = line;
    m_print(eventline::vpn(m_form, line));
}

void HeadlessListener::onDispatch(ClientType type) { m_print(eventline::dispatch(m_form, type)); }

void HeadlessListener::end(Outcome outcome) {
    {
        Lock lock(m_mutex);
        m_outcome = outcome;
    }
    m_ended();
}

std::optional<Outcome> HeadlessListener::outcome() const {
    Lock lock(m_mutex);
    return m_outcome;
}

int HeadlessListener::errorCode() const {
    Lock lock(m_mutex);
    return m_errorCode;
}

String HeadlessListener::errorText() const {
    Lock lock(m_mutex);
    return m_errorText;
}

}  // namespace tessel
