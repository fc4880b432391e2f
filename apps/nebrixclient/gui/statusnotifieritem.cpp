#include "apps/nebrixclient/gui/statusnotifieritem.h"

#include <unistd.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include <gio/gio.h>
#include <wx/image.h>

#include "apps/nebrixclient/gui/bus.h"
#include "apps/nebrixclient/gui/deferredcall.h"
#include "apps/nebrixclient/gui/statusnotifiermenu.h"
#include "libs/base/log.h"

namespace nebrix::gui {

namespace {

using NodeInfoPtr = GObjectPtr<GDBusNodeInfo, g_dbus_node_info_unref>;
using VariantPtr = GObjectPtr<GVariant, g_variant_unref>;

constexpr const char* kInterface = "org.kde.StatusNotifierItem";
constexpr const char* kPath = "/StatusNotifierItem";
constexpr const char* kWatcher = "org.kde.StatusNotifierWatcher";
constexpr const char* kWatcherPath = "/StatusNotifierWatcher";

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
<method name="Activate"><arg name="x" type="i" direction="in"/><arg name="y" type="i" direction="in"/></method>
<method name="SecondaryActivate"><arg name="x" type="i" direction="in"/><arg name="y" type="i" direction="in"/></method>
<method name="ContextMenu"><arg name="x" type="i" direction="in"/><arg name="y" type="i" direction="in"/></method>
<method name="Scroll"><arg name="delta" type="i" direction="in"/>
<arg name="orientation" type="s" direction="in"/></method>
<signal name="NewIcon"/><signal name="NewToolTip"/><signal name="NewStatus"><arg name="status" type="s"/></signal>
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

/// A name of its own for each time an item is shown, so that no host takes the new one for the old one's end.
std::string nextBusName() {
    static int shown = 0;
    return std::string(kInterface) + '-' + std::to_string(getpid()) + '-' + std::to_string(++shown);
}

GDBusInterfaceInfo* interfaceInfo() {
    static const NodeInfoPtr node(g_dbus_node_info_new_for_xml(kIntrospection, nullptr));
    return node->interfaces[0];
}

}  // namespace

/// The exported object and its name, from the bus's first answer until hidden.
class StatusNotifierExport {
public:
    using Property = std::function<GVariant*(const std::string& name)>;

    StatusNotifierExport(GDBusConnection* connection, Property property, std::function<void()> named,
                         std::function<void()> activated)
        : m_property(std::move(property)),
          m_named(std::move(named)),
          m_activated(std::move(activated)),
          m_busName(nextBusName()),
          m_connection(G_DBUS_CONNECTION(g_object_ref(connection))),
          m_objectId(
              g_dbus_connection_register_object(connection, kPath, interfaceInfo(), &kTable, this, nullptr, nullptr)),
          m_nameId(g_bus_own_name_on_connection(connection, m_busName.c_str(), G_BUS_NAME_OWNER_FLAGS_DO_NOT_QUEUE,
                                                onNamed, nullptr, this, nullptr)) {}
    StatusNotifierExport(const StatusNotifierExport&) = delete;
    StatusNotifierExport& operator=(const StatusNotifierExport&) = delete;
    ~StatusNotifierExport() {
        g_bus_unown_name(m_nameId);
        if (m_objectId != 0) {
            g_dbus_connection_unregister_object(m_connection.get(), m_objectId);
        }
    }

    [[nodiscard]] const std::string& busName() const { return m_busName; }
    [[nodiscard]] bool isNamed() const { return m_isNamed; }

    void emit(const char* signal) const {
        g_dbus_connection_emit_signal(m_connection.get(), nullptr, kPath, kInterface, signal, nullptr, nullptr);
    }

private:
    static void onNamed(GDBusConnection*, const gchar*, gpointer data) {
        auto& self = *static_cast<StatusNotifierExport*>(data);
        self.m_isNamed = true;
        runLogged(self.m_named);
    }

    static void onMethod(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar* method, GVariant*,
                         GDBusMethodInvocation* invocation, gpointer data) {
        g_dbus_method_invocation_return_value(invocation, nullptr);
        if (std::string(method) != "Scroll") {
            runLogged(static_cast<StatusNotifierExport*>(data)->m_activated);
        }
    }

    static GVariant* onProperty(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar* name,
                                GError** error, gpointer data) {
        GVariant* value = nullptr;
        runLogged([&] { value = static_cast<StatusNotifierExport*>(data)->m_property(name); });
        if (value == nullptr) {
            g_set_error(error, G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_PROPERTY, "No property %s", name);
        }
        return value;
    }

    static const GDBusInterfaceVTable kTable;

    Property m_property;
    std::function<void()> m_named;
    std::function<void()> m_activated;
    std::string m_busName;
    bool m_isNamed = false;
    GObjectPtr<GDBusConnection, g_object_unref> m_connection;
    unsigned m_objectId;
    unsigned m_nameId;
};

const GDBusInterfaceVTable StatusNotifierExport::kTable = {onMethod, onProperty, nullptr, {}};

class StatusNotifierItem::Impl {
public:
    Impl(const wxString& id, const wxString& title, std::function<void()> activated)
        : m_id(id.utf8_string()),
          m_title(title.utf8_string()),
          m_activated([call = std::move(activated)] {
              if (call) {
                  call();
              }
          }),
          m_icons(pixmaps({})) {}

    void setIcons(const std::vector<wxBitmap>& icons) {
        m_icons = pixmaps(icons);
        emit("NewIcon");
    }

    void setToolTip(const wxString& toolTip) {
        m_toolTip = toolTip.utf8_string();
        emit("NewToolTip");
    }

    void setMenu(StatusNotifierMenu::MakeMenu makeMenu, std::function<void(int id)> chosen) {
        m_makeMenu = std::move(makeMenu);
        m_chosen = std::move(chosen);
        if (isShown()) {
            offerMenu();
        }
    }

    void show() {
        if (isShown()) {
            return;
        }
        offerMenu();
        m_watch.emplace(
            bus::Kind::Session, kWatcher,
            [this](GDBusConnection* connection, const std::string& owner) { appeared(connection, owner); },
            [this] { gone(); });
    }

    void hide() {
        m_watch.reset();
        gone();
        m_export.reset();
        m_menu.reset();
    }

    [[nodiscard]] bool isShown() const { return m_watch.has_value(); }
    [[nodiscard]] bool isRegistered() const { return m_registered; }

private:
    void offerMenu() {
        // The old one first: both would have the same path.
        m_menu.reset();
        if (m_makeMenu) {
            m_menu.emplace(m_makeMenu, m_chosen);
        }
    }

    void appeared(GDBusConnection* connection, const std::string& owner) {
        m_owner = owner;
        m_connection = connection;
        if (!m_export) {
            m_export.emplace(
                connection, [this](const std::string& name) { return property(name); }, [this] { registerItem(); },
                [this] { m_activated.schedule(); });
        }
        registerItem();
    }

    void gone() {
        m_owner.clear();
        m_registered = false;
        m_calls.dropAnswers();
    }

    /// Once for each watcher: whichever comes last, the watcher or the name.
    void registerItem() {
        if (m_owner.empty() || !m_export->isNamed()) {
            return;
        }
        m_calls.call(m_connection, {m_owner, kWatcherPath, kWatcher, "RegisterStatusNotifierItem"},
                     g_variant_new("(s)", m_export->busName().c_str()),
                     [this](GVariant* result, bus::Outcome) { m_registered = result != nullptr; });
    }

    void emit(const char* signal) const {
        if (m_export) {
            m_export->emit(signal);
        }
    }

    /// Null for a name that is none of them.
    [[nodiscard]] GVariant* property(const std::string& name) const {
        if (name == "IconPixmap") {
            return g_variant_ref(m_icons.get());
        }
        if (name == "ToolTip") {
            return g_variant_new("(s@a(iiay)ss)", "", g_variant_new_array(G_VARIANT_TYPE("(iiay)"), nullptr, 0),
                                 m_toolTip.c_str(), "");
        }
        if (name == "WindowId") {
            return g_variant_new_int32(0);
        }
        if (name == "ItemIsMenu") {
            return g_variant_new_boolean(TRUE);
        }
        if (name == "Menu") {
            return g_variant_new_object_path(m_menu ? StatusNotifierMenu::kPath : "/");
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

    std::string m_id;
    std::string m_title;
    DeferredCall m_activated;
    VariantPtr m_icons;
    std::string m_toolTip;
    StatusNotifierMenu::MakeMenu m_makeMenu;
    std::function<void(int id)> m_chosen;

    /// Empty without a watcher.
    std::string m_owner;
    /// Kept by the export.
    GDBusConnection* m_connection = nullptr;
    bool m_registered = false;
    bus::Calls m_calls;
    std::optional<StatusNotifierExport> m_export;
    std::optional<StatusNotifierMenu> m_menu;
    std::optional<bus::NameWatch> m_watch;
};

StatusNotifierItem::StatusNotifierItem(const wxString& id, const wxString& title, std::function<void()> activated)
    : m_impl(std::make_unique<Impl>(id, title, std::move(activated))) {}

StatusNotifierItem::~StatusNotifierItem() { hide(); }

void StatusNotifierItem::setIcons(const std::vector<wxBitmap>& icons) { m_impl->setIcons(icons); }
void StatusNotifierItem::setToolTip(const wxString& toolTip) { m_impl->setToolTip(toolTip); }
void StatusNotifierItem::setMenu(std::function<std::unique_ptr<wxMenu>()> makeMenu,
                                 std::function<void(int id)> chosen) {
    m_impl->setMenu(std::move(makeMenu), std::move(chosen));
}
void StatusNotifierItem::show() { m_impl->show(); }
void StatusNotifierItem::hide() { m_impl->hide(); }
bool StatusNotifierItem::isShown() const { return m_impl->isShown(); }
bool StatusNotifierItem::isRegistered() const { return m_impl->isRegistered(); }

}  // namespace nebrix::gui
