// SPDX-License-Identifier: MIT
#define _POSIX_C_SOURCE 200809L
#include "nm_profile.h"

#include <errno.h>
#include <pwd.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include "common/text.h"

// Flag of a secret: an agent of the user's keeps it.
#define AGENT_OWNED "1"

// What is appended once something failed is left out; result tells the first failure.
typedef struct {
    sd_bus_message* message;
    int result;
} builder;

// D-Bus containers by their signatures: a dictionary is an array ("a") of entries ("e").
static void open_container(builder* self, char type, const char* contents) {
    if (self->result >= 0)
        self->result = sd_bus_message_open_container(self->message, type, contents);
}

static void close_containers(builder* self, int count) {
    for (; count > 0 && self->result >= 0; count--)
        self->result = sd_bus_message_close_container(self->message);
}

static void put_key(builder* self, const char* key) {
    if (self->result >= 0)
        self->result = sd_bus_message_append(self->message, "s", key);
}

// An entry of texts ({ss}). -EINVAL if value is not UTF-8.
static void put_text(builder* self, const char* key, const char* value) {
    if (self->result >= 0)
        self->result = sd_bus_message_append(self->message, "{ss}", key, value);
}

static void put_value(builder* self, const char* key, const char* value) {
    if (self->result >= 0)
        self->result = sd_bus_message_append(self->message, "{sv}", key, "s", value);
}

static void put_flag(builder* self, const char* key, bool value) {
    if (self->result >= 0)
        self->result = sd_bus_message_append(self->message, "{sv}", key, "b", (int)value);
}

// Opens the entry {name: a{sv}} of a setting.
static void open_setting(builder* self, const char* name) {
    open_container(self, 'e', "sa{sv}");
    put_key(self, name);
    open_container(self, 'a', "{sv}");
}

static void close_setting(builder* self) { close_containers(self, 2); }

// Opens the entry {key: <a{ss}>}.
static void open_texts(builder* self, const char* key) {
    open_container(self, 'e', "sv");
    put_key(self, key);
    open_container(self, 'v', "a{ss}");
    open_container(self, 'a', "{ss}");
}

static void close_texts(builder* self) { close_containers(self, 3); }

// A file name as the plug-in reads it: three octal digits behind a backslash for what is no plain text.
static void put_path(builder* self, const char* key, const char* path) {
    nebrix_text escaped = NEBRIX_TEXT_INIT(64 * 1024);
    for (; *path != '\0'; path++) {
        char octal[8];
        const unsigned byte = (unsigned char)*path;
        if (byte >= 0x20 && byte < 0x7f && byte != '\\')
            snprintf(octal, sizeof octal, "%c", (int)byte);
        else
            snprintf(octal, sizeof octal, "\\%03o", byte);
        nebrix_text_append(&escaped, octal);
    }
    if (escaped.failed && self->result >= 0)
        self->result = -E2BIG;
    put_text(self, key, nebrix_text_get(&escaped));
    nebrix_text_free(&escaped);
}

static void put_remote(builder* self, const tunnel_server* server) {
    char remote[kServerHostSize + 32];
    const bool bracketed = server->family == AF_INET6;
    snprintf(remote, sizeof remote, "%s%s%s:%u:%s", bracketed ? "[" : "", server->host, bracketed ? "]" : "",
             (unsigned)server->port, server->tcp ? "tcp" : "udp");
    put_text(self, "remote", remote);
    if (server->tcp)
        put_text(self, "proto-tcp", "yes");
}

static void put_certificates(builder* self, const engine_parameters* parameters) {
    const bool has_certificate = parameters->cert_kind != kCertificateNone;
    put_text(self, "connection-type", has_certificate ? "password-tls" : "password");
    put_path(self, "ca", *parameters->ca_path != '\0' ? parameters->ca_path : parameters->cert_path);
    if (has_certificate) {
        put_path(self, "cert", parameters->cert_path);
        put_path(self, "key", parameters->cert_path);
        put_text(self, "cert-pass-flags", AGENT_OWNED);
    }
}

static bool has_proxy_login(const engine_parameters* parameters) {
    return parameters->proxy != NULL && parameters->proxy->login[0] != '\0';
}

static void put_proxy(builder* self, const engine_parameters* parameters) {
    char port[8];
    if (parameters->proxy == NULL)
        return;
    snprintf(port, sizeof port, "%u", (unsigned)parameters->proxy->address.port);
    put_text(self, "proxy-type", "http");
    put_text(self, "proxy-server", parameters->proxy->address.host);
    put_text(self, "proxy-port", port);
    if (has_proxy_login(parameters)) {
        put_text(self, "http-proxy-username", parameters->proxy->login);
        put_text(self, "http-proxy-password-flags", AGENT_OWNED);
    }
}

static void put_data(builder* self, const engine_parameters* parameters, const char* name) {
    put_remote(self, parameters->server);
    put_certificates(self, parameters);
    put_text(self, "username", parameters->login);
    put_text(self, "password-flags", AGENT_OWNED);
    put_text(self, "remote-cert-tls", "server");
    if (name != NULL) {
        char rule[sizeof "name:" + 256];
        snprintf(rule, sizeof rule, "name:%s", name);
        put_text(self, "verify-x509-name", rule);
    }
    put_proxy(self, parameters);
}

// The connection is this user's alone, where the user has a name that says so. Root has no session that it would need.
static void put_permissions(builder* self) {
    char buffer[4096];
    char permission[300];
    struct passwd entry;
    struct passwd* user = NULL;
    if (getuid() == 0 || getpwuid_r(getuid(), &entry, buffer, sizeof buffer, &user) != 0 || user == NULL ||
        snprintf(permission, sizeof permission, "user:%s:", user->pw_name) >= (int)sizeof permission)
        return;
    if (self->result >= 0)
        self->result = sd_bus_message_append(self->message, "{sv}", "permissions", "as", 1, permission);
}

static void put_connection(builder* self, const engine_parameters* parameters, const char* uuid) {
    char id[kServerHostSize + 16];
    snprintf(id, sizeof id, "Nebrix %s", parameters->server->host);
    open_setting(self, "connection");
    put_value(self, "id", id);
    put_value(self, "uuid", uuid);
    put_value(self, "type", "vpn");
    put_flag(self, "autoconnect", false);
    put_permissions(self);
    close_setting(self);
}

// Persistent: the tunnel outlives a change of the network below it.
static void put_vpn(builder* self, const engine_parameters* parameters, const char* name) {
    open_setting(self, "vpn");
    put_value(self, "service-type", "org.freedesktop.NetworkManager.openvpn");
    put_flag(self, "persistent", true);
    if (self->result >= 0)
        self->result = sd_bus_message_append(self->message, "{sv}", "timeout", "u", (uint32_t)kProfileTimeoutSeconds);
    open_texts(self, "data");
    put_data(self, parameters, name);
    close_texts(self);
    close_setting(self);
}

static void put_addresses(builder* self, const char* family) {
    open_setting(self, family);
    put_value(self, "method", "auto");
    put_flag(self, "never-default", true);
    close_setting(self);
}

int nm_profile_append(sd_bus_message* message, const engine_parameters* parameters, const char* uuid,
                      const char* name) {
    builder self = {message, 0};
    open_container(&self, 'a', "{sa{sv}}");
    put_connection(&self, parameters, uuid);
    put_vpn(&self, parameters, name);
    put_addresses(&self, "ipv4");
    put_addresses(&self, "ipv6");
    close_containers(&self, 1);
    return self.result;
}

int nm_profile_append_secrets(sd_bus_message* message, const engine_parameters* parameters) {
    builder self = {message, sd_bus_message_sensitive(message)};
    open_container(&self, 'a', "{sa{sv}}");
    open_setting(&self, "vpn");
    open_texts(&self, "secrets");
    put_text(&self, "password", parameters->ticket);
    if (parameters->cert_kind != kCertificateNone)
        put_text(&self, "cert-pass", parameters->cert_password);
    if (has_proxy_login(parameters))
        put_text(&self, "http-proxy-password", parameters->proxy->password);
    close_texts(&self);
    close_setting(&self);
    close_containers(&self, 1);
    return self.result;
}
