// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/statusnotifieritem.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include <gio/gio.h>
#include <wx/image.h>
#include <wx/timer.h>

#include "apps/nebrixclient/gui/bus.h"
#include "apps/nebrixclient/gui/deferredcall.h"
#include "apps/nebrixclient/gui/statusnotifiermenu.h"

namespace nebrix::gui {

namespace {

using VariantPtr = GObjectPtr<GVariant, g_variant_unref>;

constexpr const char* kPath = "/StatusNotifierItem";
constexpr const char* kWatcher = "org.kde.StatusNotifierWatcher";
constexpr const char* kWatcherPath = "/StatusNotifierWatcher";
constexpr int kFirstPause = 250;  // milliseconds before a watcher is asked again; each pause is twice the last one
constexpr int kLongestPause = 32000;

constexpr const char* kIntrospection = R"xml(<node><interface name="org.kde.StatusNotifierItem">
<property name="Category" type="s" access="read"/>
<property name="Id" type="s" access="read"/>
<property name="Title" type="s" access="read"/>
<property name="Status" type="s" access="read"/>
<property name="WindowId" type="i" access="read"/>
<property name="IconName" type="s" access="read"/>
<property name="IconPixmap" type="a(iiay)" access="read"/>
<property name="ToolTip" type="(sa(iiay)ss)" access="read"/>
<property name="ItemIsMenu" type="b" access="read"/>
<property name="Menu" type="o" access="read"/>
<method name="SecondaryActivate"><arg name="x" type="i" direction="in"/><arg name="y" type="i" direction="in"/></method>
<method name="ContextMenu"><arg name="x" type="i" direction="in"/><arg name="y" type="i" direction="in"/></method>
<method name="Scroll"><arg name="delta" type="i" direction="in"/>
<arg name="orientation" type="s" direction="in"/></method>
</interface></node>)xml";

/// Four bytes a pixel: alpha, red, green, blue.
std::vector<std::uint8_t> argbBytes(const wxImage& image) {
    const auto pixels = static_cast<std::size_t>(image.GetWidth()) * static_cast<std::size_t>(image.GetHeight());
    const unsigned char* colours = image.GetData();
    const unsigned char* alpha = image.GetAlpha();
    std::vector<std::uint8_t> bytes;
    bytes.reserve(pixels * 4);
    for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
        bytes.push_back(alpha != nullptr ? alpha[pixel] : wxIMAGE_ALPHA_OPAQUE);
        bytes.insert(bytes.end(), colours + pixel * 3, colours + pixel * 3 + 3);
    }
    return bytes;
}

GVariant* pixmap(const wxBitmap& bitmap) {
    wxImage image = bitmap.ConvertToImage();
    if (!image.HasAlpha()) {
        image.InitAlpha();
    }
    const auto bytes = argbBytes(image);
    return g_variant_new("(ii@ay)", image.GetWidth(), image.GetHeight(),
                         g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, bytes.data(), bytes.size(), 1));
}

VariantPtr pixmaps(const std::vector<wxBitmap>& icons) {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE("a(iiay)"));
    for (const wxBitmap& icon : icons) {
        if (icon.IsOk()) {
            g_variant_builder_add_value(&builder, pixmap(icon));
        }
    }
    return VariantPtr(g_variant_ref_sink(g_variant_builder_end(&builder)));
}

/// Whether the watcher's answer to a question for its list has this connection's item. Hosts join bus name and path in
/// different ways; but what begins with ":1.2" may belong to ":1.23".
bool lists(GVariant* answer, const std::string& busName) {
    GVariant* boxed = nullptr;
    g_variant_get(answer, "(v)", &boxed);
    const VariantPtr items(boxed);
    if (g_variant_is_of_type(boxed, G_VARIANT_TYPE_STRING_ARRAY) == FALSE) {
        return false;
    }
    for (gsize i = 0; i < g_variant_n_children(boxed); ++i) {
        const gchar* item = nullptr;
        g_variant_get_child(boxed, i, "&s", &item);
        const std::string text(item);
        if (text.starts_with(busName) && text.find_first_of("0123456789", busName.size()) != busName.size()) {
            return true;
        }
    }
    return false;
}

}  // namespace

class StatusNotifierItem::Impl {
public:
    Impl(const Content& content, Callbacks callbacks)
        : m_id(content.id.utf8_string()),
          m_title(content.title.utf8_string()),
          m_icons(pixmaps(content.icons)),
          m_callbacks(std::move(callbacks)),
          m_menuWanted([this] { m_callbacks.menuWanted(m_place); }),
          m_changed(m_callbacks.changed),
          m_connection([this](GDBusConnection* connection) { opened(connection); }),
          m_watch(
              bus::Kind::Session, kWatcher, [this](GDBusConnection*, const std::string& owner) { appeared(owner); },
              [this] { gone(); }) {
        m_pause.Bind(wxEVT_TIMER, [this](wxTimerEvent&) { registerItem(); });
        m_patience.Bind(wxEVT_TIMER, [this](wxTimerEvent&) { setOverdue(true); });
    }

    void menuChanged() {
        if (m_menu) {
            m_menu->refresh();
        }
    }

    [[nodiscard]] bool isOverdue() const { return m_overdue; }

private:
    void opened(GDBusConnection* connection) {
        m_bus = connection;
        m_menu.emplace(connection, m_callbacks.makeMenu, m_callbacks.chosen);
        m_object.emplace(
            connection, kPath, kIntrospection,
            bus::Object::Handlers{[this](const std::string& method, GVariant* place) { return called(method, place); },
                                  [this](const std::string& name) { return property(name); }});
        followWatcher();
    }

    void appeared(const std::string& owner) {
        m_owner = owner;
        m_nextPause = kFirstPause;
        m_patience.StartOnce(kPatience);
        followWatcher();
    }

    void gone() {
        m_owner.clear();
        m_signals.reset();
        m_calls.dropAnswers();
        m_pause.Stop();
        m_patience.Stop();
        setOverdue(false);
    }

    /// Whichever comes last, the watcher or the connection.
    void followWatcher() {
        if (m_owner.empty() || m_bus == nullptr) {
            return;
        }
        m_signals.emplace(m_bus, m_owner, kWatcherPath, kWatcher, [this](const std::string& member, GVariant*) {
            if (member == "StatusNotifierItemUnregistered") {
                look(false);  // it may have been this one, which the host could not read
            }
        });
        registerItem();
    }

    void registerItem() {
        m_calls.dropAnswers();
        m_calls.call(m_bus, {m_owner, kWatcherPath, kWatcher, "RegisterStatusNotifierItem"},
                     g_variant_new("(s)", kPath), [this](GVariant* result, bus::Outcome outcome) {
                         if (outcome == bus::Outcome::Lost) {
                             askAgainLater();
                         } else {
                             look(result != nullptr);
                         }
                     });
    }

    /// `accepted`: believed of a watcher that has no list.
    void look(bool accepted) {
        m_calls.call(m_bus, {m_owner, kWatcherPath, "org.freedesktop.DBus.Properties", "Get"},
                     g_variant_new("(ss)", kWatcher, "RegisteredStatusNotifierItems"),
                     [this, accepted](GVariant* result, bus::Outcome outcome) {
                         const bool listed =
                             result != nullptr && g_variant_is_of_type(result, G_VARIANT_TYPE("(v)")) != FALSE
                                 ? lists(result, g_dbus_connection_get_unique_name(m_bus))
                                 : accepted && outcome == bus::Outcome::Refused;
                         if (listed) {
                             m_pause.Stop();
                             m_patience.Stop();
                             setOverdue(false);
                         } else {
                             askAgainLater();
                         }
                     });
    }

    void askAgainLater() {
        if (!m_overdue && !m_patience.IsRunning()) {
            m_patience.StartOnce(kPatience);  // it was listed before
        }
        m_pause.StartOnce(m_nextPause);
        m_nextPause = std::min(2 * m_nextPause, kLongestPause);
    }

    void setOverdue(bool overdue) {
        if (m_overdue != overdue) {
            m_overdue = overdue;
            m_changed.schedule();
        }
    }

    GVariant* called(const std::string& method, GVariant* place) {
        if (method != "Scroll") {
            g_variant_get(place, "(ii)", &m_place.x, &m_place.y);
            m_menuWanted.schedule();
        }
        return nullptr;
    }

    /// Null for a name that is none of them.
    [[nodiscard]] GVariant* property(const std::string& name) const {
        if (name == "IconPixmap") {
            return g_variant_ref(m_icons.get());
        }
        if (name == "ToolTip") {
            return g_variant_new("(s@a(iiay)ss)", "", g_variant_new_array(G_VARIANT_TYPE("(iiay)"), nullptr, 0),
                                 m_title.c_str(), "");
        }
        if (name == "WindowId") {
            return g_variant_new_int32(0);
        }
        if (name == "ItemIsMenu") {
            return g_variant_new_boolean(TRUE);
        }
        if (name == "Menu") {
            return g_variant_new_object_path(StatusNotifierMenu::kPath);
        }
        return textProperty(name);
    }

    [[nodiscard]] GVariant* textProperty(const std::string& name) const {
        const std::pair<const char*, const char*> texts[] = {{"Category", "ApplicationStatus"},
                                                             {"Id", m_id.c_str()},
                                                             {"Title", m_title.c_str()},
                                                             {"Status", "Active"},
                                                             {"IconName", ""}};
        for (const auto& [known, text] : texts) {
            if (name == known) {
                return g_variant_new_string(text);
            }
        }
        return nullptr;
    }

    const std::string m_id;
    const std::string m_title;
    const VariantPtr m_icons;
    const Callbacks m_callbacks;
    DeferredCall m_menuWanted;
    DeferredCall m_changed;
    wxPoint m_place;  // where the menu was wanted last

    std::string m_owner;  // empty without a watcher
    bool m_overdue = false;
    int m_nextPause = kFirstPause;
    wxTimer m_pause;
    wxTimer m_patience;

    bus::OwnConnection m_connection;
    GDBusConnection* m_bus = nullptr;  // m_connection's, once open
    bus::Calls m_calls;
    std::optional<bus::Object> m_object;
    std::optional<StatusNotifierMenu> m_menu;
    std::optional<bus::Signals> m_signals;
    bus::NameWatch m_watch;
};

StatusNotifierItem::StatusNotifierItem(const Content& content, Callbacks callbacks)
    : m_impl(std::make_unique<Impl>(content, std::move(callbacks))) {}

StatusNotifierItem::~StatusNotifierItem() = default;

void StatusNotifierItem::menuChanged() { m_impl->menuChanged(); }
bool StatusNotifierItem::isOverdue() const { return m_impl->isOverdue(); }

}  // namespace nebrix::gui
