// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gdk/gdk.h>
#include <gtk/gtk.h>
#include <langinfo.h>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <wx/dialog.h>
#include <wx/menuitem.h>

#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "apps/nebrixclient/gui/desktop.h"
#include "apps/nebrixclient/gui/gobjectptr.h"
#include "libs/base/log.h"

#ifdef GDK_WINDOWING_X11
#include <gdk/gdkx.h>  // its macros are in the way of the others' names
#endif

namespace nebrix::gui::desktop {

namespace {

guint32 serverTime(GtkWidget* widget) {
#ifdef GDK_WINDOWING_X11
    if (GdkWindow* const window = gtk_widget_get_window(widget); window != nullptr && GDK_IS_X11_WINDOW(window)) {
        return gdk_x11_get_server_time(window);
    }
#endif
    return GDK_CURRENT_TIME;
}

constexpr const char* kLanguage = "LANGUAGE";

// GDK reads it once. The environment's own string: emptied where it stands it can be read by other threads meanwhile.
char g_openGl[] = "GDK_GL=disable";

void presentNow(GtkWidget* widget, gpointer /*unused*/) {
    g_signal_handlers_disconnect_by_func(widget, reinterpret_cast<gpointer>(&presentNow), nullptr);
    gtk_window_present_with_time(GTK_WINDOW(widget), serverTime(widget));
}

}  // namespace

void preferX11() {
    if (std::getenv("WAYLAND_DISPLAY") != nullptr && std::getenv("DISPLAY") != nullptr) {
        gdk_set_allowed_backends("x11,*");
    }
}

void startWithoutOpenGl() {
    if (std::getenv("GDK_GL") == nullptr) {
        ::putenv(g_openGl);
    }
}

void leaveOpenGlToOthers() { *(std::strchr(g_openGl, '=') + 1) = '\0'; }

void settleEnvironment() {
    // Empty, both count as not set. wxWidgets sets the second one when it starts.
    for (const char* const name : {kLanguage, "G_FILENAME_ENCODING"}) {
        ::setenv(name, "", 0);
    }
    // GDK takes it away, which moves what stands behind it.
    constexpr const char* kStartupId = "DESKTOP_STARTUP_ID";
    if (const char* const id = std::getenv(kStartupId)) {
        const std::string text = id;
        ::unsetenv(kStartupId);
        ::setenv(kStartupId, text.c_str(), 1);
    }
}

void keepHeapSmall() {
    constexpr int kMostFree = 64 * 1024;  // bytes
    ::mallopt(M_ARENA_MAX, 1);
    ::mallopt(M_TRIM_THRESHOLD, kMostFree);
}

void readFontsAhead() { pango_cairo_font_map_get_default(); }

void becomeUserInterfaceElement() {}

void useUtf8() {
    if (std::strcmp(nl_langinfo(CODESET), "UTF-8") != 0) {
        std::setlocale(LC_CTYPE, "C.UTF-8");
    }
}

bool isLocaleInstalled(const char* name) {
    const locale_t found = ::newlocale(LC_ALL_MASK, (std::string(name) + ".UTF-8").c_str(), locale_t{});
    if (found != locale_t{}) {
        ::freelocale(found);
    }
    return found != locale_t{};
}

void useLanguage(const char* code) {
    ::setenv(kLanguage, code, 1);
    // gettext does not translate at all in the locale "C", but does in its UTF-8 form.
    const char* const messages = std::setlocale(LC_MESSAGES, nullptr);
    if (messages == nullptr || std::strcmp(messages, "C") == 0 || std::strcmp(messages, "POSIX") == 0) {
        std::setlocale(LC_MESSAGES, "C.UTF-8");
    }
}

void showMenuImages() { g_object_set(gtk_settings_get_default(), "gtk-menu-images", TRUE, nullptr); }

void showScrollBars() { g_object_set(gtk_settings_get_default(), "gtk-overlay-scrolling", FALSE, nullptr); }

void hideShortcut(const wxMenuItem& entry) {
    GtkWidget* const label = gtk_bin_get_child(GTK_BIN(entry.GetMenuItem()));
    if (label != nullptr && GTK_IS_ACCEL_LABEL(label)) {
        gtk_accel_label_set_accel_widget(GTK_ACCEL_LABEL(label), nullptr);
    }
}

#ifdef GDK_WINDOWING_X11

namespace {

/// GDK looks at the errors it expects while its own handler is in place; to any other it would end the program.
int logXError(Display* /*display*/, XErrorEvent* error) {
    constexpr int kMost = 20;  // a log is not to be filled with them
    static int logged = 0;
    if (logged++ < kMost) {
        const wxString text = wxString::Format(
            "X error %d of request %d.%d on 0x%lx", static_cast<int>(error->error_code),
            static_cast<int>(error->request_code), static_cast<int>(error->minor_code), error->resourceid);
        tessel::log(tessel::LogCategory::Trace, "desktop", "logXError", text.utf8_str());
    }
    return 0;
}

}  // namespace

void surviveXErrors() {
    if (canPopUpAnywhere()) {
        XSetErrorHandler(logXError);
    }
}

bool canPopUpAnywhere() { return GDK_IS_X11_DISPLAY(gdk_display_get_default()); }

#else

void surviveXErrors() {}

bool canPopUpAnywhere() { return false; }

#endif

bool knowsPlaces() { return canPopUpAnywhere(); }

std::shared_ptr<void> holdTrayWidgets() {
    using WidgetPtr = GObjectPtr<GtkWidget, g_object_unref>;
    auto held = std::make_shared<std::vector<WidgetPtr>>();
    const auto hold = [](GtkWidget* widget, gpointer list) {
        static_cast<std::vector<WidgetPtr>*>(list)->emplace_back(GTK_WIDGET(g_object_ref(widget)));
    };
    const GObjectPtr<GList, g_list_free> windows(gtk_window_list_toplevels());
    for (const GList* each = windows.get(); each != nullptr; each = each->next) {
        if (std::strcmp(G_OBJECT_TYPE_NAME(each->data), "GtkTrayIcon") == 0) {
            hold(GTK_WIDGET(each->data), held.get());
            gtk_container_foreach(GTK_CONTAINER(each->data), hold, held.get());
        }
    }
    return held;
}

void allowCoreDumps() {
    const rlimit unlimited{RLIM_INFINITY, RLIM_INFINITY};
    setrlimit(RLIMIT_CORE, &unlimited);
}

void askLockHolder(const wxString& lockFile) {
    const int descriptor = ::open(lockFile.fn_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor < 0) {
        return;
    }
    struct stat status {};
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    if (::fstat(descriptor, &status) == 0 && status.st_uid == ::getuid() && ::fcntl(descriptor, F_GETLK, &lock) == 0 &&
        lock.l_type != F_UNLCK && lock.l_pid > 0) {
        ::kill(lock.l_pid, SIGUSR1);
    }
    ::close(descriptor);
}

void abandonProcess(int status) { ::_exit(status); }

void takeKeyboard(wxWindow& window) {
    GtkWidget* const widget = window.GetHandle();
    if (gtk_widget_get_mapped(widget) != FALSE) {
        presentNow(widget, nullptr);
        return;
    }
    gtk_widget_realize(widget);
#ifdef GDK_WINDOWING_X11
    if (GDK_IS_X11_WINDOW(gtk_widget_get_window(widget))) {
        gdk_x11_window_set_user_time(gtk_widget_get_window(widget), serverTime(widget));
    }
#endif
    g_signal_connect(widget, "map", G_CALLBACK(&presentNow), nullptr);
}

void endModal(wxDialog& dialog) {
    GtkWidget* const widget = dialog.GetHandle();
    if (widget != nullptr && GTK_IS_DIALOG(widget)) {
        gtk_dialog_response(GTK_DIALOG(widget), GTK_RESPONSE_CANCEL);
    } else if (dialog.IsModal()) {
        dialog.EndModal(wxID_CANCEL);
    }
}

bool closePopupMenu() {
    GtkWidget* const grabbing = gtk_grab_get_current();
    if (grabbing == nullptr || !GTK_IS_MENU_SHELL(grabbing)) {
        return false;
    }
    gtk_menu_shell_deactivate(GTK_MENU_SHELL(grabbing));
    return true;
}

}  // namespace nebrix::gui::desktop
