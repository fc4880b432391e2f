// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/view/panelstate.h"

#include <utility>

namespace tessel::view {

namespace {

constexpr unsigned kTicksShown = 2;
constexpr unsigned kDotSteps = 4;

}  // namespace

void PanelState::asking() noexcept {
    m_asking = true;
    m_unanswered = 0;
    m_silent = false;
    m_ended = false;
}

void PanelState::accepted() noexcept {
    m_asking = false;
    m_waiting = false;
    m_statusOver = true;
}

void PanelState::ended() noexcept {
    m_driverMode = m_driverMode || m_waiting;
    m_ticks = 0;
    m_asking = false;
    m_waiting = false;
    m_silent = false;
    m_ended = true;
}

bool PanelState::status() noexcept {
    if (m_lineReceived) {
        return false;
    }
    m_driverMode = true;
    m_statusOver = false;
    m_ticks = 0;
    return true;
}

bool PanelState::line(const String& line) {
    if (line == m_lastLine) {
        return false;
    }
    m_lastLine = line;
    m_lineReceived = true;
    m_driverMode = false;
    m_dots = 0;
    if (std::optional<VpnPhrase> phrase = vpnPhrase(line); phrase.has_value()) {
        m_phrase = *std::move(phrase);
    }
    return true;
}

PanelState::TickEffect PanelState::tick() noexcept {
    TickEffect effect{m_phrase.busy, false, false};
    if (effect.redrawDots) {
        m_dots = (m_dots + 1) % kDotSteps;
    }
    if (m_driverMode && !m_transferring && ++m_ticks == kTicksShown) {
        m_driverMode = false;
        effect.hide = true;
    }
    if (m_asking && ++m_unanswered == kTicksUnanswered) {
        m_waiting = true;
        effect.show = true;
    }
    return effect;
}

void PanelState::transferring(bool running) noexcept {
    m_statusOver = m_statusOver || (m_transferring && !running);
    m_transferring = running;
    m_ticks = 0;
}

MainLine PanelState::main() const noexcept {
    if (m_ended) {
        return MainLine::NotConnected;
    }
    if (m_silent) {
        return MainLine::Silent;
    }
    if (m_waiting) {
        return MainLine::Waiting;
    }
    // A status keeps its two ticks, also when what it announced is over sooner.
    const bool connected = m_lineReceived || (m_statusOver && !m_driverMode);
    return connected ? MainLine::Connected : MainLine::Status;
}

}  // namespace tessel::view
