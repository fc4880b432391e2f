#include "apps/nebrixclient/view/panelstate.h"

#include <utility>

namespace tessel::view {

namespace {

constexpr unsigned kTicksShown = 2;
constexpr unsigned kDotSteps = 4;

}  // namespace

bool PanelState::status() noexcept {
    if (m_lineReceived) {
        return false;
    }
    m_driverMode = true;
    m_ticks = 0;
    return true;
}

PanelState::LineEffect PanelState::line(const String& line) {
    if (line == m_lastLine) {
        return {true, false};
    }
    m_lastLine = line;
    m_lineReceived = true;
    m_dots = 0;
    if (std::optional<VpnPhrase> phrase = vpnPhrase(line); phrase.has_value()) {
        m_phrase = *std::move(phrase);
    }
    return {false, std::exchange(m_driverMode, false)};
}

PanelState::TickEffect PanelState::tick() noexcept {
    TickEffect effect{m_phrase.busy, false};
    if (effect.redrawDots) {
        m_dots = (m_dots + 1) % kDotSteps;
    }
    if (m_driverMode && !m_transferring && ++m_ticks == kTicksShown) {
        m_driverMode = false;
        effect.hide = true;
    }
    return effect;
}

void PanelState::transferring(bool running) noexcept {
    m_transferring = running;
    m_ticks = 0;
}

}  // namespace tessel::view
