// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/bus.h"

#include <memory>
#include <utility>

#include <gio/gio.h>
#include <unistd.h>

#include "libs/base/log.h"

namespace nebrix::gui::bus {

namespace {

using ErrorPtr = GObjectPtr<GError, g_error_free>;
using ConnectionPtr = GObjectPtr<GDBusConnection, g_object_unref>;
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

struct OwnConnectionCallbacks {
    static void opened(GObject*, GAsyncResult* result, gpointer data) {
        GError* raised = nullptr;
        ConnectionPtr connection(g_dbus_connection_new_for_address_finish(result, &raised));
        const ErrorPtr error(raised);
        const std::unique_ptr<Opening> opening(static_cast<Opening*>(data));
        if (!connection) {
            logFailure("OwnConnection", *error);
        } else if (g_cancellable_is_cancelled(opening->cancellable.get()) == FALSE) {
            OwnConnection& self = *opening->receiver;
            self.m_connection = connection.release();
            runLogged([&] { self.m_opened(self.m_connection); });
        }  // else it closes with its only reference
    }

    static void flushed(GObject* connection, GAsyncResult*, gpointer) {
        g_dbus_connection_close(G_DBUS_CONNECTION(connection), nullptr, nullptr, nullptr);
        g_object_unref(connection);
    }

    struct Opening {
        OwnConnection* receiver;  // gone when cancelled
        GObjectPtr<GCancellable, g_object_unref> cancellable;
    };
};

OwnConnection::OwnConnection(std::function<void(GDBusConnection* connection)> opened)
    : m_opened(std::move(opened)), m_cancellable(g_cancellable_new()) {
    if (!exists(Kind::Session)) {
        return;
    }
    const GObjectPtr<gchar, g_free> address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
    if (address) {
        auto opening = std::make_unique<OwnConnectionCallbacks::Opening>();
        opening->receiver = this;
        opening->cancellable.reset(G_CANCELLABLE(g_object_ref(m_cancellable)));
        const auto flags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                             G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
        g_dbus_connection_new_for_address(address.get(), flags, nullptr, m_cancellable, OwnConnectionCallbacks::opened,
                                          opening.release());
    }
}

OwnConnection::~OwnConnection() {
    g_cancellable_cancel(m_cancellable);
    g_object_unref(m_cancellable);
    if (m_connection != nullptr) {
        // Answers that were just given go first. The callback takes the reference over.
        g_dbus_connection_flush(m_connection, nullptr, OwnConnectionCallbacks::flushed, nullptr);
    }
}

struct ObjectCallbacks {
    static void call(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar* method,
                     GVariant* arguments, GDBusMethodInvocation* invocation, gpointer object) {
        GVariant* results = nullptr;
        runLogged([&] { results = static_cast<Object*>(object)->m_handlers.call(method, arguments); });
        GDBusArgInfo* const* const expected = g_dbus_method_invocation_get_method_info(invocation)->out_args;
        if (results == nullptr && expected != nullptr && *expected != nullptr) {
            g_dbus_method_invocation_return_error(invocation, G_DBUS_ERROR, G_DBUS_ERROR_INVALID_ARGS,
                                                  "Nothing to answer %s with", method);
        } else {
            g_dbus_method_invocation_return_value(invocation, results);
        }
    }

    static GVariant* property(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar* name,
                              GError** error, gpointer object) {
        GVariant* value = nullptr;
        runLogged([&] { value = static_cast<Object*>(object)->m_handlers.property(name); });
        if (value == nullptr) {
            g_set_error(error, G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_PROPERTY, "No property %s", name);
        }
        return value;
    }

    static constexpr GDBusInterfaceVTable kTable = {call, property, nullptr, {}};
};

Object::Object(GDBusConnection* connection, const char* path, const char* introspection, Handlers handlers)
    : m_handlers(std::move(handlers)),
      m_path(path),
      m_connection(G_DBUS_CONNECTION(g_object_ref(connection))),
      m_node(g_dbus_node_info_new_for_xml(introspection, nullptr)),
      m_id(g_dbus_connection_register_object(connection, path, m_node->interfaces[0], &ObjectCallbacks::kTable, this,
                                             nullptr, nullptr)) {}

Object::~Object() {
    if (m_id != 0) {
        g_dbus_connection_unregister_object(m_connection, m_id);
    }
    g_dbus_node_info_unref(m_node);
    g_object_unref(m_connection);
}

void Object::emit(const char* signal, GVariant* arguments) const {
    g_dbus_connection_emit_signal(m_connection, nullptr, m_path, m_node->interfaces[0]->name, signal, arguments,
                                  nullptr);
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
