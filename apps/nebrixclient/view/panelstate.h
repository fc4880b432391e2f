#pragma once

#include "apps/nebrixclient/view/statuskeys.h"
#include "libs/base/string.h"

namespace tessel::view {

/// What the notification panel shows and when it hides itself.
///
/// In driver mode the main label holds the driver's last status and the plug-in row is hidden, until the second tick
/// after that status. Otherwise, and at the beginning, the main label says "Connected" and the plug-in row is there.
class PanelState {
public:
    struct LineEffect {
        bool ignored;         ///< the line repeats the last one: nothing is to be done
        bool leftDriverMode;  ///< the plug-in row comes back, the main label says "Connected"
    };
    struct TickEffect {
        bool redrawDots;
        bool hide;  ///< driver mode was left: the panel hides, prepared as for LineEffect::leftDriverMode
    };

    /// A driver status is to be shown: enters driver mode and starts the count of ticks anew; the caller starts its
    /// timer anew too. False when a plug-in line was ever accepted: then nothing changes and nothing is to be shown.
    bool status() noexcept;

    /// A line of the plug-in came. Unless it repeats the last one it is accepted, whether or not it is understood: the
    /// panel is to be shown with phrase() and without dots. At the beginning the last line is the empty one.
    LineEffect line(const String& line);

    /// A second is over.
    TickEffect tick() noexcept;

    /// A download runs, or has ended. Ticks do not count while one runs; they start anew when it ends.
    void transferring(bool running) noexcept;

    /// How many dots, 0 to 3, follow the phrase.
    [[nodiscard]] unsigned dots() const noexcept { return m_dots; }
    /// The last line that was understood; its key is "" before the first. Valid until the next line().
    [[nodiscard]] const VpnPhrase& phrase() const noexcept { return m_phrase; }
    [[nodiscard]] bool driverMode() const noexcept { return m_driverMode; }

private:
    VpnPhrase m_phrase;
    String m_lastLine;
    unsigned m_dots = 0;
    unsigned m_ticks = 0;  // since the last status or the end of a transfer
    bool m_lineReceived = false;
    bool m_driverMode = false;
    bool m_transferring = false;
};

}  // namespace tessel::view
