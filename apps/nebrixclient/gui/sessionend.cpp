// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/sessionend.h"

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

#include <gio/gio.h>

#include "apps/nebrixclient/gui/bus.h"
#include "apps/nebrixclient/gui/xsmpclient.h"

namespace nebrix::gui {

namespace {

constexpr const char* kManager = "org.gnome.SessionManager";
constexpr const char* kManagerPath = "/org/gnome/SessionManager";
constexpr const char* kClient = "org.gnome.SessionManager.ClientPrivate";
constexpr const char* kLogin = "org.freedesktop.login1";
constexpr const char* kLoginManager = "org.freedesktop.login1.Manager";
constexpr const char* kLoginPath = "/org/freedesktop/login1";

/// Empty unless the answer is one object path.
std::string pathIn(GVariant* answer) {
    const gchar* path = nullptr;
    if (answer != nullptr && g_variant_is_of_type(answer, G_VARIANT_TYPE("(o)")) != FALSE) {
        g_variant_get(answer, "(&o)", &path);
    }
    return path != nullptr ? path : "";
}

bool isTrue(GVariant* arguments) {
    gboolean value = FALSE;
    if (g_variant_is_of_type(arguments, G_VARIANT_TYPE("(b)")) != FALSE) {
        g_variant_get(arguments, "(b)", &value);
    }
    return value != FALSE;
}

/// The name under which the session manager started the program, if it did.
std::string startupId() {
    const char* id = std::getenv("DESKTOP_AUTOSTART_ID");
    return id != nullptr && g_utf8_validate(id, -1, nullptr) != FALSE ? id : "";
}

}  // namespace

class SessionEnd::Impl {
public:
    explicit Impl(std::function<void()> ended)
        : m_ended(std::move(ended)),
          m_xsmp([this] { end(); }),
          m_managerWatch(
              bus::Kind::Session, kManager,
              [this](GDBusConnection* connection, const std::string& owner) { registerClient(connection, owner); },
              [this] { m_client.reset(); }),
          m_loginWatch(
              bus::Kind::System, kLogin,
              [this](GDBusConnection* connection, const std::string& owner) { followLogin(connection, owner); },
              [this] { m_login.reset(); }) {}

private:
    void registerClient(GDBusConnection* connection, const std::string& owner) {
        m_calls.call(connection, {owner, kManagerPath, kManager, "RegisterClient"},
                     g_variant_new("(ss)", "nebrixclient", startupId().c_str()),
                     [this, connection, owner](GVariant* answer, bus::Outcome) {
                         if (const std::string path = pathIn(answer); !path.empty()) {
                             followClient(connection, owner, path);
                         }
                     });
    }

    void followClient(GDBusConnection* connection, const std::string& owner, const std::string& path) {
        m_client.emplace(connection, owner, path, kClient,
                         [this, connection, owner, path](const std::string& member, GVariant*) {
                             clientSignal(connection, owner, path, member);
                         });
    }

    void clientSignal(GDBusConnection* connection, const std::string& owner, const std::string& path,
                      const std::string& member) {
        // The program may end this object while it hears of the end.
        const GObjectPtr<GDBusConnection, g_object_unref> kept(G_DBUS_CONNECTION(g_object_ref(connection)));
        const std::pair<std::string, std::string> manager(owner, path);
        const bool asks = member == "QueryEndSession" || member == "EndSession";
        if (member == "EndSession" || member == "Stop") {
            end();
        }
        if (asks) {
            g_dbus_connection_call(kept.get(), manager.first.c_str(), manager.second.c_str(), kClient,
                                   "EndSessionResponse", g_variant_new("(bs)", TRUE, ""), nullptr,
                                   G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, nullptr, nullptr, nullptr);
        }
    }

    void followLogin(GDBusConnection* connection, const std::string& owner) {
        m_login.emplace(connection, owner, kLoginPath, kLoginManager,
                        [this](const std::string& member, GVariant* arguments) {
                            if (member == "PrepareForShutdown" && isTrue(arguments)) {
                                end();
                            }
                        });
    }

    void end() {
        if (const auto ended = std::exchange(m_ended, nullptr)) {
            ended();
        }
    }

    std::function<void()> m_ended;
    XsmpClient m_xsmp;
    bus::Calls m_calls;
    std::optional<bus::Signals> m_client;
    std::optional<bus::Signals> m_login;
    bus::NameWatch m_managerWatch;
    bus::NameWatch m_loginWatch;
};

SessionEnd::SessionEnd(std::function<void()> ended) : m_impl(std::make_unique<Impl>(std::move(ended))) {}

SessionEnd::~SessionEnd() = default;

}  // namespace nebrix::gui
