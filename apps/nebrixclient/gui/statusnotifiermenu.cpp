// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/statusnotifiermenu.h"

#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include <gio/gio.h>
#include <wx/bitmap.h>
#include <wx/image.h>
#include <wx/menu.h>
#include <wx/mstream.h>

#include "apps/nebrixclient/gui/bus.h"
#include "apps/nebrixclient/gui/deferredcall.h"

namespace nebrix::gui {

namespace {

using VariantPtr = GObjectPtr<GVariant, g_variant_unref>;

constexpr guint kVersion = 3;
constexpr gint32 kRoot = 0;

constexpr const char* kIntrospection = R"xml(<node><interface name="com.canonical.dbusmenu">
<property name="Version" type="u" access="read"/>
<property name="TextDirection" type="s" access="read"/>
<property name="Status" type="s" access="read"/>
<property name="IconThemePath" type="as" access="read"/>
<method name="GetLayout"><arg name="parentId" type="i" direction="in"/>
<arg name="recursionDepth" type="i" direction="in"/><arg name="propertyNames" type="as" direction="in"/>
<arg name="revision" type="u" direction="out"/><arg name="layout" type="(ia{sv}av)" direction="out"/></method>
<method name="GetGroupProperties"><arg name="ids" type="ai" direction="in"/>
<arg name="propertyNames" type="as" direction="in"/>
<arg name="properties" type="a(ia{sv})" direction="out"/></method>
<method name="GetProperty"><arg name="id" type="i" direction="in"/><arg name="name" type="s" direction="in"/>
<arg name="value" type="v" direction="out"/></method>
<method name="Event"><arg name="id" type="i" direction="in"/><arg name="eventId" type="s" direction="in"/>
<arg name="data" type="v" direction="in"/><arg name="timestamp" type="u" direction="in"/></method>
<method name="EventGroup"><arg name="events" type="a(isvu)" direction="in"/>
<arg name="idErrors" type="ai" direction="out"/></method>
<method name="AboutToShow"><arg name="id" type="i" direction="in"/>
<arg name="needUpdate" type="b" direction="out"/></method>
<method name="AboutToShowGroup"><arg name="ids" type="ai" direction="in"/>
<arg name="updatesNeeded" type="ai" direction="out"/><arg name="idErrors" type="ai" direction="out"/></method>
<signal name="ItemsPropertiesUpdated"><arg name="updated" type="a(ia{sv})"/><arg name="removed" type="a(ias)"/></signal>
<signal name="LayoutUpdated"><arg name="revision" type="u"/><arg name="parent" type="i"/></signal>
<signal name="ItemActivationRequested"><arg name="id" type="i"/><arg name="timestamp" type="u"/></signal>
</interface></node>)xml";

/// One entry as the host gets it; two menus with equal entries look alike. Its number on the bus is its place, from 1.
struct Entry {
    int id = wxID_NONE;
    bool separator = false;
    std::string label;
    bool enabled = true;
    std::string png;

    bool operator==(const Entry&) const = default;
};

using Entries = std::vector<Entry>;

/// The mnemonic is marked by "&" in wx and by "_" on the bus; doubled, each is the character itself.
std::string busLabel(const wxString& label) {
    const std::string text = label.BeforeFirst('\t').utf8_string();
    std::string converted;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '_') {
            converted += "__";
        } else if (text[i] != '&') {
            converted += text[i];
        } else if (i + 1 < text.size() && text[i + 1] == '&') {
            converted += text[++i];
        } else {
            converted += '_';
        }
    }
    return converted;
}

/// Empty without a valid bitmap, and without the handler that art in this format needs anyway.
std::string pngBytes(const wxBitmap& bitmap) {
    if (!bitmap.IsOk() || wxImage::FindHandler(wxBITMAP_TYPE_PNG) == nullptr) {
        return {};
    }
    wxMemoryOutputStream stream;
    if (!bitmap.ConvertToImage().SaveFile(stream, wxBITMAP_TYPE_PNG)) {
        return {};
    }
    std::string bytes(stream.GetSize(), '\0');
    stream.CopyTo(bytes.data(), bytes.size());
    return bytes;
}

Entries entriesOf(const wxMenu& menu) {
    Entries entries;
    for (const wxMenuItem* item : menu.GetMenuItems()) {
        Entry entry;
        entry.id = item->GetId();
        entry.separator = item->IsSeparator();
        if (!entry.separator) {
            entry.label = busLabel(item->GetItemLabel());
            entry.enabled = item->IsEnabled();
            entry.png = pngBytes(item->GetBitmap());
        }
        entries.push_back(std::move(entry));
    }
    return entries;
}

/// A floating a{sv}; always all of them, whichever a host asks for.
GVariant* propertiesOf(const Entry& entry) {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE_VARDICT);
    if (entry.separator) {
        g_variant_builder_add(&builder, "{sv}", "type", g_variant_new_string("separator"));
    } else {
        g_variant_builder_add(&builder, "{sv}", "label", g_variant_new_string(entry.label.c_str()));
        g_variant_builder_add(&builder, "{sv}", "enabled", g_variant_new_boolean(entry.enabled ? TRUE : FALSE));
        if (!entry.png.empty()) {
            g_variant_builder_add(
                &builder, "{sv}", "icon-data",
                g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, entry.png.data(), entry.png.size(), 1));
        }
    }
    return g_variant_builder_end(&builder);
}

GVariant* rootProperties() {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&builder, "{sv}", "children-display", g_variant_new_string("submenu"));
    return g_variant_builder_end(&builder);
}

GVariant* leaf(gint32 number, const Entry& entry) {
    return g_variant_new("(i@a{sv}@av)", number, propertiesOf(entry),
                         g_variant_new_array(G_VARIANT_TYPE_VARIANT, nullptr, 0));
}

/// The first argument, an array of integers.
std::vector<gint32> numbersIn(GVariant* arguments) {
    GVariantIter* iterator = nullptr;
    g_variant_get_child(arguments, 0, "ai", &iterator);
    const GObjectPtr<GVariantIter, g_variant_iter_free> owner(iterator);
    std::vector<gint32> numbers;
    for (gint32 number = 0; g_variant_iter_next(iterator, "i", &number) != FALSE;) {
        numbers.push_back(number);
    }
    return numbers;
}

GVariant* noNumbers() { return g_variant_new_array(G_VARIANT_TYPE_INT32, nullptr, 0); }

}  // namespace

class StatusNotifierMenu::Impl {
public:
    Impl(GDBusConnection* connection, MakeMenu makeMenu, std::function<void(int id)> chosen)
        : m_makeMenu(std::move(makeMenu)),
          m_chosen(std::move(chosen)),
          m_entries(newEntries()),
          m_click([this] { tellClicked(); }),
          m_object(connection, kPath, kIntrospection,
                   {[this](const std::string& method, GVariant* arguments) { return answer(method, arguments); },
                    [](const std::string& name) { return property(name); }}) {}

    bool refresh() {
        Entries entries = newEntries();
        if (entries == m_entries) {
            return false;
        }
        m_entries = std::move(entries);
        m_object.emit("LayoutUpdated", g_variant_new("(ui)", ++m_revision, kRoot));
        return true;
    }

private:
    [[nodiscard]] Entries newEntries() const {
        const std::unique_ptr<wxMenu> menu = m_makeMenu();
        return menu ? entriesOf(*menu) : Entries();
    }

    /// Null for the root and for a number that is none.
    [[nodiscard]] const Entry* entry(gint32 number) const {
        const bool known = number > kRoot && static_cast<std::size_t>(number) <= m_entries.size();
        return known ? &m_entries[static_cast<std::size_t>(number) - 1] : nullptr;
    }

    static GVariant* property(const std::string& name) {
        if (name == "Version") {
            return g_variant_new_uint32(kVersion);
        }
        if (name == "IconThemePath") {
            return g_variant_new_strv(nullptr, 0);
        }
        return g_variant_new_string(name == "Status" ? "normal" : "ltr");
    }

    GVariant* answer(const std::string& method, GVariant* arguments) {
        if (method == "GetLayout") {
            return layout(arguments);
        }
        if (method == "GetGroupProperties") {
            return groupProperties(numbersIn(arguments));
        }
        if (method == "GetProperty") {
            return oneProperty(arguments);
        }
        if (method == "AboutToShow") {
            return g_variant_new("(b)", refresh() ? TRUE : FALSE);
        }
        if (method == "AboutToShowGroup") {
            refresh();
            return g_variant_new("(@ai@ai)", noNumbers(), noNumbers());
        }
        return method == "Event" ? event(arguments) : events(arguments);
    }

    GVariant* layout(GVariant* arguments) const {
        gint32 number = kRoot;
        gint32 depth = 0;
        g_variant_get(arguments, "(iias)", &number, &depth, nullptr);
        if (const Entry* const one = entry(number)) {
            return g_variant_new("(u@(ia{sv}av))", m_revision, leaf(number, *one));
        }
        if (number != kRoot) {
            return nullptr;
        }
        GVariantBuilder children;
        g_variant_builder_init(&children, G_VARIANT_TYPE("av"));
        for (std::size_t i = 0; depth != 0 && i < m_entries.size(); ++i) {
            g_variant_builder_add(&children, "v", leaf(static_cast<gint32>(i) + 1, m_entries[i]));
        }
        return g_variant_new("(u(i@a{sv}av))", m_revision, kRoot, rootProperties(), &children);
    }

    /// No number at all means every entry.
    GVariant* groupProperties(std::vector<gint32> numbers) const {
        GVariantBuilder builder;
        g_variant_builder_init(&builder, G_VARIANT_TYPE("a(ia{sv})"));
        if (numbers.empty()) {
            numbers.resize(m_entries.size() + 1);
            std::iota(numbers.begin(), numbers.end(), kRoot);
        }
        for (const gint32 number : numbers) {
            if (const Entry* const one = entry(number); one != nullptr || number == kRoot) {
                g_variant_builder_add(&builder, "(i@a{sv})", number,
                                      one != nullptr ? propertiesOf(*one) : rootProperties());
            }
        }
        return g_variant_new("(a(ia{sv}))", &builder);
    }

    GVariant* oneProperty(GVariant* arguments) const {
        gint32 number = kRoot;
        const gchar* name = nullptr;
        g_variant_get(arguments, "(i&s)", &number, &name);
        const Entry* const one = entry(number);
        const VariantPtr all(g_variant_ref_sink(one != nullptr ? propertiesOf(*one) : rootProperties()));
        const VariantPtr value(g_variant_lookup_value(all.get(), name, nullptr));
        return value ? g_variant_new("(v)", value.get()) : nullptr;
    }

    GVariant* event(GVariant* arguments) {
        gint32 number = kRoot;
        const gchar* kind = nullptr;
        g_variant_get(arguments, "(i&svu)", &number, &kind, nullptr, nullptr);
        const Entry* const one = entry(number);
        if (one != nullptr && one->enabled && std::string(kind) == "clicked") {
            m_clicked = one->id;
            m_click.schedule();  // later: the host waits for the answer, and a dialog takes long
        }
        return nullptr;
    }

    GVariant* events(GVariant* arguments) {
        const VariantPtr all(g_variant_get_child_value(arguments, 0));
        for (gsize i = 0; i < g_variant_n_children(all.get()); ++i) {
            event(VariantPtr(g_variant_get_child_value(all.get(), i)).get());
        }
        return g_variant_new("(@ai)", noNumbers());
    }

    void tellClicked() const {
        const auto chosen = m_chosen;  // which may end this object
        chosen(m_clicked);
    }

    MakeMenu m_makeMenu;
    std::function<void(int id)> m_chosen;
    Entries m_entries;
    guint m_revision = 1;
    int m_clicked = wxID_NONE;
    DeferredCall m_click;
    bus::Object m_object;
};

StatusNotifierMenu::StatusNotifierMenu(GDBusConnection* connection, MakeMenu makeMenu,
                                       std::function<void(int id)> chosen)
    : m_impl(std::make_unique<Impl>(connection, std::move(makeMenu), std::move(chosen))) {}

StatusNotifierMenu::~StatusNotifierMenu() = default;

void StatusNotifierMenu::refresh() { m_impl->refresh(); }

}  // namespace nebrix::gui
