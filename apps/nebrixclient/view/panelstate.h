// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "apps/nebrixclient/view/statuskeys.h"
#include "libs/base/string.h"

namespace tessel::view {

/// What the panel's main line says.
enum class MainLine {
    Status,        ///< the driver's last status
    Connected,     ///< the gateway has accepted the session
    Waiting,       ///< the gateway has not answered for a while
    Silent,        ///< the component does not answer
    NotConnected,  ///< the attempt is over
};

/// What the notification panel shows and when it comes and goes, at any moment: also while it is hidden, since it may
/// be brought back.
///
/// In driver mode the main line holds the driver's last status, until the second tick after it, when the panel hides.
/// Otherwise it tells what is so now, and the panel stays: the tunnel's state below "Connected" once the plug-in has
/// reported, before that whatever lasts of the last status.
class PanelState {
public:
    /// Ticks without an answer of the gateway after which the panel comes back and says so.
    static constexpr unsigned kTicksUnanswered = 10;

    struct TickEffect {
        bool redrawDots;
        bool hide;  ///< driver mode was left: the panel hides
        bool show;  ///< the gateway does not answer: the panel comes and stays
    };

    /// The gateway is asked, for the first time or anew. Ticks are counted until accepted() or ended().
    void asking() noexcept;
    /// The gateway has named a component.
    void accepted() noexcept;
    /// The attempt is over, and the tunnel with it. A panel that has waited hides after two ticks like a status.
    void ended() noexcept;

    /// The component does not answer, or does so again.
    void silent(bool silent) noexcept { m_silent = silent; }

    /// A driver status is to be shown: enters driver mode and starts the count of ticks anew; the caller starts its
    /// timer anew too. False when a plug-in line was ever accepted: then nothing changes and nothing is to be shown.
    bool status() noexcept;

    /// A line of the plug-in came. Unless it repeats the last one it is accepted, whether or not it is understood: the
    /// panel is to be shown with phrase() and without dots, and true returned. At the beginning the last line is the
    /// empty one.
    bool line(const String& line);

    /// A second is over.
    TickEffect tick() noexcept;
    /// Whether it matters how time goes by; while it does not, tick() does nothing and need not be called.
    [[nodiscard]] bool ticking() const noexcept { return m_phrase.busy || m_driverMode || (m_asking && !m_waiting); }

    /// A download runs, or has ended. Ticks do not count while one runs; they start anew when it ends.
    void transferring(bool running) noexcept;

    /// The panel was asked for: it leaves driver mode and stays.
    void broughtBack() noexcept { m_driverMode = false; }

    [[nodiscard]] MainLine main() const noexcept;
    /// Whether the plug-in's row is shown. There is no driver mode then.
    [[nodiscard]] bool pluginRow() const noexcept { return m_lineReceived && !m_ended; }
    /// Whether a download may be shown in its place.
    [[nodiscard]] bool progressRow() const noexcept { return m_transferring && !m_lineReceived && !m_ended; }
    /// How many dots, 0 to 3, follow the phrase.
    [[nodiscard]] unsigned dots() const noexcept { return m_dots; }
    /// The last line that was understood; its key is "" before the first. Valid until the next line().
    [[nodiscard]] const VpnPhrase& phrase() const noexcept { return m_phrase; }
    [[nodiscard]] bool driverMode() const noexcept { return m_driverMode; }

private:
    VpnPhrase m_phrase;
    String m_lastLine;
    unsigned m_dots = 0;
    unsigned m_ticks = 0;       // since the last status or the end of a transfer
    unsigned m_unanswered = 0;  // ticks since asking()
    bool m_asking = false;
    bool m_waiting = false;  // asking for so long that the panel says so
    bool m_silent = false;
    bool m_ended = false;
    bool m_statusOver = false;  // what the last status announced has been done
    bool m_lineReceived = false;
    bool m_driverMode = false;
    bool m_transferring = false;
};

}  // namespace tessel::view
