// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/traypresence.h"

#include <optional>
#include <string>
#include <utility>

#include <gdk/gdk.h>
#include <gio/gio.h>
#include <wx/timer.h>
#ifdef GDK_WINDOWING_X11
#include <gdk/gdkx.h>
#endif

#include "apps/nebrixclient/gui/bus.h"
#include "apps/nebrixclient/gui/deferredcall.h"

namespace nebrix::gui {

#ifdef GDK_WINDOWING_X11

/// The system tray protocol's manager: it announces itself to the root window, and its end is its window's.
class TrayPresence::X11Tray {
public:
    /// Null when the display is not X11, or there is none.
    static std::unique_ptr<X11Tray> find(DeferredCall& changed) {
        GdkDisplay* display = gdk_display_get_default();
        return display != nullptr && GDK_IS_X11_DISPLAY(display) ? std::make_unique<X11Tray>(display, changed)
                                                                 : nullptr;
    }

    X11Tray(GdkDisplay* display, DeferredCall& changed)
        : m_display(display),
          m_changed(changed),
          m_selection(gdk_x11_get_xatom_by_name_for_display(display, selectionName().c_str())),
          m_manager(gdk_x11_get_xatom_by_name_for_display(display, "MANAGER")) {
        GdkWindow* root = gdk_get_default_root_window();
        const int events = gdk_window_get_events(root) | GDK_STRUCTURE_MASK;
        gdk_window_set_events(root, static_cast<GdkEventMask>(events));
        // For every window, because the manager's window belongs to another program.
        gdk_window_add_filter(nullptr, filter, this);
        findOwner();
    }
    X11Tray(const X11Tray&) = delete;
    X11Tray& operator=(const X11Tray&) = delete;
    ~X11Tray() { gdk_window_remove_filter(nullptr, filter, this); }

    [[nodiscard]] unsigned long owner() const { return m_owner; }

private:
    static std::string selectionName() {
        return "_NET_SYSTEM_TRAY_S" + std::to_string(gdk_x11_screen_get_screen_number(gdk_screen_get_default()));
    }

    static GdkFilterReturn filter(GdkXEvent* gdkEvent, GdkEvent*, gpointer data) {
        static_cast<X11Tray*>(data)->see(*static_cast<const XEvent*>(gdkEvent));
        return GDK_FILTER_CONTINUE;
    }

    void see(const XEvent& event) {
        const bool announced = event.type == ClientMessage && event.xclient.message_type == m_manager &&
                               static_cast<Atom>(event.xclient.data.l[1]) == m_selection;
        const bool ended = event.type == DestroyNotify && event.xdestroywindow.window == m_owner;
        if (announced || ended) {
            findOwner();
        }
    }

    void findOwner() {
        Display* display = gdk_x11_display_get_xdisplay(m_display);
        const Window before = m_owner;
        // The owner cannot end between the question and the listening.
        gdk_x11_display_grab(m_display);
        m_owner = XGetSelectionOwner(display, m_selection);
        if (m_owner != 0) {
            listen(display);
        }
        gdk_x11_display_ungrab(m_display);
        if (m_owner != before) {
            m_changed.schedule();
        }
    }

    void listen(Display* display) const {
        XWindowAttributes attributes;
        gdk_x11_display_error_trap_push(m_display);
        // The toolkit listens to the same window: its events stay selected.
        if (XGetWindowAttributes(display, m_owner, &attributes) != 0) {
            XSelectInput(display, m_owner, attributes.your_event_mask | StructureNotifyMask);
        }
        gdk_x11_display_error_trap_pop_ignored(m_display);
    }

    GdkDisplay* m_display;
    DeferredCall& m_changed;
    Atom m_selection;
    Atom m_manager;
    Window m_owner = 0;
};

#else

class TrayPresence::X11Tray {
public:
    static std::unique_ptr<X11Tray> find(DeferredCall&) { return nullptr; }
    [[nodiscard]] static unsigned long owner() { return 0; }
};

#endif

class TrayPresence::Watcher {
public:
    explicit Watcher(DeferredCall& changed)
        : m_changed(changed),
          m_watch(
              bus::Kind::Session, kInterface,
              [this](GDBusConnection* connection, const std::string& owner) { appeared(connection, owner); },
              [this] { gone(); }) {
        m_patience.Bind(wxEVT_TIMER, [this](wxTimerEvent&) { set(m_hasHost); });
        m_patience.StartOnce(kPatience);
    }

    [[nodiscard]] bool hasHost() const { return m_hasHost; }
    [[nodiscard]] bool settled() const { return m_settled; }

private:
    static constexpr const char* kInterface = "org.kde.StatusNotifierWatcher";
    static constexpr const char* kPath = "/StatusNotifierWatcher";

    void appeared(GDBusConnection* connection, const std::string& owner) {
        m_signals.emplace(
            connection, owner, kPath, kInterface, [this, connection, owner](const std::string& member, GVariant*) {
                if (member == "StatusNotifierHostRegistered" || member == "StatusNotifierHostUnregistered") {
                    ask(connection, owner);
                }
            });
        ask(connection, owner);
    }

    void ask(GDBusConnection* connection, const std::string& owner) {
        m_calls.dropAnswers();
        m_calls.call(connection, {owner, kPath, "org.freedesktop.DBus.Properties", "Get"},
                     g_variant_new("(ss)", kInterface, "IsStatusNotifierHostRegistered"),
                     [this](GVariant* result, bus::Outcome outcome) {
                         // A watcher without the property is its own host.
                         set(result != nullptr ? isTrue(result) : outcome == bus::Outcome::Refused);
                     });
    }

    static bool isTrue(GVariant* result) {
        if (g_variant_is_of_type(result, G_VARIANT_TYPE("(v)")) == FALSE) {
            return false;
        }
        GVariant* boxed = nullptr;
        g_variant_get(result, "(v)", &boxed);
        const GObjectPtr<GVariant, g_variant_unref> value(boxed);
        return g_variant_is_of_type(boxed, G_VARIANT_TYPE_BOOLEAN) != FALSE && g_variant_get_boolean(boxed) != FALSE;
    }

    void gone() {
        m_signals.reset();
        m_calls.dropAnswers();
        set(false);
    }

    void set(bool hasHost) {
        if (m_hasHost == hasHost && m_settled) {
            return;
        }
        m_hasHost = hasHost;
        m_settled = true;
        m_patience.Stop();
        m_changed.schedule();
    }

    DeferredCall& m_changed;
    bool m_hasHost = false;
    bool m_settled = false;
    wxTimer m_patience;
    bus::Calls m_calls;
    std::optional<bus::Signals> m_signals;
    bus::NameWatch m_watch;
};

TrayPresence::TrayPresence(std::function<void()> changed)
    : m_changed(std::make_unique<DeferredCall>(std::move(changed))),
      m_x11Tray(X11Tray::find(*m_changed)),
      m_watcher(std::make_unique<Watcher>(*m_changed)) {}

TrayPresence::~TrayPresence() = default;

unsigned long TrayPresence::x11Tray() const { return m_x11Tray ? m_x11Tray->owner() : 0; }
bool TrayPresence::statusNotifierHost() const { return m_watcher->hasHost(); }
bool TrayPresence::settled() const { return m_watcher->settled(); }

}  // namespace nebrix::gui
