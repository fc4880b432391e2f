#include "apps/nebrixclient/gui/statusnotifiermenu.h"

#include <string>
#include <utility>
#include <vector>

#include <libdbusmenu-glib/menuitem.h>
#include <libdbusmenu-glib/server.h>
#include <wx/app.h>
#include <wx/bitmap.h>
#include <wx/image.h>
#include <wx/menu.h>
#include <wx/mstream.h>

#include "apps/nebrixclient/gui/deferredcall.h"
#include "apps/nebrixclient/gui/gobjectptr.h"

namespace nebrix::gui {

namespace {

using ServerPtr = GObjectPtr<DbusmenuServer, g_object_unref>;
using ItemPtr = GObjectPtr<DbusmenuMenuitem, g_object_unref>;

/// One entry as the host gets it; two menus with equal entries look alike.
struct Entry {
    int id = wxID_NONE;
    wxItemKind kind = wxITEM_NORMAL;
    std::string label;
    bool enabled = true;
    bool checked = false;
    std::string png;
    bool opens = false;
    std::vector<Entry> entries;

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

Entries entriesOf(const wxMenu& menu);

Entry entryOf(const wxMenuItem& item) {
    Entry entry;
    entry.id = item.GetId();
    entry.kind = item.GetKind();
    if (item.IsSeparator()) {
        return entry;
    }
    entry.label = busLabel(item.GetItemLabel());
    entry.enabled = item.IsEnabled();
    entry.checked = item.IsCheckable() && item.IsChecked();
    entry.png = pngBytes(item.GetBitmap());
    if (const wxMenu* subMenu = item.GetSubMenu()) {
        // Nobody chooses it, and wx makes up another one in each menu.
        entry.id = wxID_NONE;
        entry.opens = true;
        entry.entries = entriesOf(*subMenu);
    }
    return entry;
}

Entries entriesOf(const wxMenu& menu) {
    Entries entries;
    for (const wxMenuItem* item : menu.GetMenuItems()) {
        entries.push_back(entryOf(*item));
    }
    return entries;
}

/// What a click needs; the entries on the bus may outlive the menu while the library still works on them.
struct Target {
    std::function<void(int id)> chosen;
};

struct Click {
    std::weak_ptr<Target> target;
    int id;
};

void onActivated(DbusmenuMenuitem*, guint, gpointer data) {
    const Click click = *static_cast<Click*>(data);
    if (wxTheApp == nullptr) {
        return;
    }
    // Later, because the library still holds the entry that the program may now replace.
    wxTheApp->CallAfter([click] {
        if (const auto target = click.target.lock()) {
            runLogged([&] { target->chosen(click.id); });
        }
    });
}

void endClick(gpointer data, GClosure*) { const std::unique_ptr<Click> click(static_cast<Click*>(data)); }

void setText(DbusmenuMenuitem* item, const char* property, const std::string& text) {
    dbusmenu_menuitem_property_set(item, property, text.c_str());
}

void setToggle(DbusmenuMenuitem* item, const Entry& entry) {
    if (entry.kind == wxITEM_CHECK || entry.kind == wxITEM_RADIO) {
        setText(item, DBUSMENU_MENUITEM_PROP_TOGGLE_TYPE,
                entry.kind == wxITEM_CHECK ? DBUSMENU_MENUITEM_TOGGLE_CHECK : DBUSMENU_MENUITEM_TOGGLE_RADIO);
        dbusmenu_menuitem_property_set_int(
            item, DBUSMENU_MENUITEM_PROP_TOGGLE_STATE,
            entry.checked ? DBUSMENU_MENUITEM_TOGGLE_STATE_CHECKED : DBUSMENU_MENUITEM_TOGGLE_STATE_UNCHECKED);
    }
}

void setIcon(DbusmenuMenuitem* item, const std::string& png) {
    if (!png.empty()) {
        const std::vector<guchar> bytes(png.begin(), png.end());
        dbusmenu_menuitem_property_set_byte_array(item, DBUSMENU_MENUITEM_PROP_ICON_DATA, bytes.data(), bytes.size());
    }
}

void appendAll(DbusmenuMenuitem* parent, const Entries& entries, const std::shared_ptr<Target>& target);

ItemPtr makeItem(const Entry& entry, const std::shared_ptr<Target>& target) {
    ItemPtr item(dbusmenu_menuitem_new());
    if (entry.kind == wxITEM_SEPARATOR) {
        setText(item.get(), DBUSMENU_MENUITEM_PROP_TYPE, "separator");
        return item;
    }
    setText(item.get(), DBUSMENU_MENUITEM_PROP_LABEL, entry.label);
    dbusmenu_menuitem_property_set_bool(item.get(), DBUSMENU_MENUITEM_PROP_ENABLED, entry.enabled ? TRUE : FALSE);
    setToggle(item.get(), entry);
    setIcon(item.get(), entry.png);
    if (entry.opens) {
        setText(item.get(), DBUSMENU_MENUITEM_PROP_CHILD_DISPLAY, DBUSMENU_MENUITEM_CHILD_DISPLAY_SUBMENU);
        appendAll(item.get(), entry.entries, target);
    } else {
        auto click = std::make_unique<Click>(Click{target, entry.id});
        g_signal_connect_data(item.get(), DBUSMENU_MENUITEM_SIGNAL_ITEM_ACTIVATED, G_CALLBACK(onActivated),
                              click.release(), endClick, G_CONNECT_DEFAULT);
    }
    return item;
}

void appendAll(DbusmenuMenuitem* parent, const Entries& entries, const std::shared_ptr<Target>& target) {
    for (const Entry& entry : entries) {
        dbusmenu_menuitem_child_append(parent, makeItem(entry, target).get());
    }
}

}  // namespace

class StatusNotifierMenu::Impl {
public:
    Impl(MakeMenu makeMenu, std::function<void(int id)> chosen)
        : m_makeMenu(std::move(makeMenu)),
          m_target(std::make_shared<Target>(Target{std::move(chosen)})),
          m_server(dbusmenu_server_new(kPath)),
          m_root(dbusmenu_menuitem_new()) {
        refresh();
        dbusmenu_server_set_root(m_server.get(), m_root.get());
        g_signal_connect(m_root.get(), DBUSMENU_MENUITEM_SIGNAL_ABOUT_TO_SHOW, G_CALLBACK(onAboutToShow), this);
    }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;
    ~Impl() { g_signal_handlers_disconnect_by_data(m_root.get(), this); }

private:
    static gboolean onAboutToShow(DbusmenuMenuitem*, gpointer data) {
        runLogged([&] { static_cast<Impl*>(data)->refresh(); });
        return FALSE;
    }

    void refresh() {
        const std::unique_ptr<wxMenu> menu = m_makeMenu();
        Entries entries = menu ? entriesOf(*menu) : Entries();
        if (entries == m_entries) {
            return;
        }
        m_entries = std::move(entries);
        g_list_free_full(dbusmenu_menuitem_take_children(m_root.get()), g_object_unref);
        appendAll(m_root.get(), m_entries, m_target);
    }

    MakeMenu m_makeMenu;
    std::shared_ptr<Target> m_target;
    ServerPtr m_server;
    ItemPtr m_root;
    Entries m_entries;
};

StatusNotifierMenu::StatusNotifierMenu(MakeMenu makeMenu, std::function<void(int id)> chosen)
    : m_impl(std::make_unique<Impl>(std::move(makeMenu), std::move(chosen))) {}

StatusNotifierMenu::~StatusNotifierMenu() = default;

}  // namespace nebrix::gui
