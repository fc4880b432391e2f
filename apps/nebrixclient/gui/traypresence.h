// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>

namespace nebrix::gui {

class DeferredCall;

/// Which kinds of tray the desktop has at the moment, followed as they come and go.
///
/// The X11 tray is the owner of the selection _NET_SYSTEM_TRAY_S<screen> (freedesktop.org system tray protocol); the
/// other kind is a host of status notifier items, found through org.kde.StatusNotifierWatcher on the session bus.
/// Everything is driven by events: nothing is polled and nothing waits for the bus. GUI thread only.
class TrayPresence {
public:
    /// Starts to look. `changed` is called from the event loop, never from within the constructor, after any of the
    /// three answers below has changed; several changes may share one call. What it raises is logged.
    explicit TrayPresence(std::function<void()> changed);
    TrayPresence(const TrayPresence&) = delete;
    TrayPresence& operator=(const TrayPresence&) = delete;
    /// No call of `changed` follows. May be called from within it.
    ~TrayPresence();

    /// The manager's window, which is another one after a crash; 0 for none, and on a display that is not X11. Known
    /// from the constructor on.
    [[nodiscard]] unsigned long x11Tray() const;
    /// False until the bus has answered, and where there is no bus.
    [[nodiscard]] bool statusNotifierHost() const;
    /// Whether the session bus has answered, failed, or been silent for kPatience: only then does a missing host mean
    /// that there is none.
    [[nodiscard]] bool settled() const;

    static constexpr int kPatience = 3000;  ///< milliseconds

private:
    class X11Tray;
    class Watcher;

    std::unique_ptr<DeferredCall> m_changed;
    std::unique_ptr<X11Tray> m_x11Tray;
    std::unique_ptr<Watcher> m_watcher;
};

}  // namespace nebrix::gui
