#include "apps/nebrixclient/gui/bus.h"

#include <memory>
#include <utility>

#include <gio/gio.h>
#include <unistd.h>

#include "libs/base/log.h"

namespace nebrix::gui::bus {

namespace {

using ErrorPtr = GObjectPtr<GError, g_error_free>;
using VariantPtr = GObjectPtr<GVariant, g_variant_unref>;

constexpr int kCallTimeoutMilliseconds = 5000;

struct PendingCall {
    Calls::Done done;
    const char* method;
};

void logFailure(const char* method, const GError& error) {
    tessel::log(tessel::LogCategory::Trace, "bus", method, error.message);
}

/// Without a bus GIO would start one, by a program of its own and through X11: nobody else is on it, and it stays.
bool exists(Kind kind) {
    return kind == Kind::System || g_getenv("DBUS_SESSION_BUS_ADDRESS") != nullptr ||
           ::access((std::string(g_get_user_runtime_dir()) + "/bus").c_str(), F_OK) == 0;
}

Outcome outcomeOf(const GError& error) {
    return g_dbus_error_is_remote_error(&error) != FALSE ? Outcome::Refused : Outcome::Lost;
}

void onAnswer(GObject* source, GAsyncResult* asyncResult, gpointer data) {
    const std::unique_ptr<PendingCall> pending(static_cast<PendingCall*>(data));
    GError* raised = nullptr;
    const VariantPtr result(g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), asyncResult, &raised));
    const ErrorPtr error(raised);
    if (!error) {
        runLogged([&] { pending->done(result.get(), Outcome::Answered); });
    } else if (g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_CANCELLED) == FALSE) {
        logFailure(pending->method, *error);
        runLogged([&] { pending->done(nullptr, outcomeOf(*error)); });
    }
}

}  // namespace

void startNone() {
    if (!exists(Kind::Session)) {
        g_setenv("NO_AT_BRIDGE", "1", TRUE);
    }
}

struct NameWatchCallbacks {
    static void appeared(GDBusConnection* connection, const gchar*, const gchar* owner, gpointer watch) {
        // Otherwise GIO ends the program with the bus: a session that is connected may outlive it.
        g_dbus_connection_set_exit_on_close(connection, FALSE);
        runLogged([&] { static_cast<NameWatch*>(watch)->m_appeared(connection, owner); });
    }
    static void gone(GDBusConnection* connection, const gchar*, gpointer watch) {
        if (connection != nullptr) {
            g_dbus_connection_set_exit_on_close(connection, FALSE);
        }
        runLogged(static_cast<NameWatch*>(watch)->m_gone);
    }
};

NameWatch::NameWatch(Kind kind, const char* name, Appeared appeared, std::function<void()> gone)
    : m_appeared(std::move(appeared)), m_gone(std::move(gone)), m_noBus([this] { m_gone(); }) {
    if (exists(kind)) {
        m_id = g_bus_watch_name(kind == Kind::Session ? G_BUS_TYPE_SESSION : G_BUS_TYPE_SYSTEM, name,
                                G_BUS_NAME_WATCHER_FLAGS_NONE, NameWatchCallbacks::appeared, NameWatchCallbacks::gone,
                                this, nullptr);
    } else {
        m_noBus.schedule();
    }
}

NameWatch::~NameWatch() {
    if (m_id != 0) {
        g_bus_unwatch_name(m_id);
    }
}

struct SignalsCallbacks {
    static void received(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar* member,
                         GVariant* arguments, gpointer signals) {
        // A copy, because the receiver may end the object that holds the function.
        runLogged([&, received = static_cast<Signals*>(signals)->m_received] { received(member, arguments); });
    }
};

Signals::Signals(GDBusConnection* connection, const std::string& sender, const std::string& path, const char* interface,
                 Received received)
    : m_connection(G_DBUS_CONNECTION(g_object_ref(connection))),
      m_received(std::move(received)),
      m_id(g_dbus_connection_signal_subscribe(connection, sender.c_str(), interface, nullptr, path.c_str(), nullptr,
                                              G_DBUS_SIGNAL_FLAGS_NONE, SignalsCallbacks::received, this, nullptr)) {}

Signals::~Signals() {
    g_dbus_connection_signal_unsubscribe(m_connection, m_id);
    g_object_unref(m_connection);
}

Calls::Calls() : m_cancellable(g_cancellable_new()) {}

Calls::~Calls() {
    g_cancellable_cancel(m_cancellable);
    g_object_unref(m_cancellable);
}

void Calls::dropAnswers() {
    g_cancellable_cancel(m_cancellable);
    g_object_unref(m_cancellable);
    m_cancellable = g_cancellable_new();
}

void Calls::call(GDBusConnection* connection, const Method& method, GVariant* arguments, Done done) {
    auto pending = std::make_unique<PendingCall>(PendingCall{std::move(done), method.name});
    g_dbus_connection_call(connection, method.service.c_str(), method.path.c_str(), method.interface, method.name,
                           arguments, nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START, kCallTimeoutMilliseconds, m_cancellable,
                           onAnswer, pending.release());
}

}  // namespace nebrix::gui::bus
