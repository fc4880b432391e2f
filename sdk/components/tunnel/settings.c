// SPDX-License-Identifier: MIT
#define _DEFAULT_SOURCE
#include "settings.h"

#include <string.h>

#include "common/text.h"

enum { kMaximalPath = 8192 };

void tunnel_settings_set(tunnel_settings* self, enum tunnel_setting which, const char* value) {
    nebrix_string_set(&self->texts[which], value);
}

const char* tunnel_settings_get(const tunnel_settings* self, enum tunnel_setting which) {
    return self->texts[which] == NULL ? "" : self->texts[which];
}

void tunnel_settings_clear_names(tunnel_settings* self) {
    self->name_count = 0;
    self->name_refused = false;
}

static bool is_printable(const char* name) {
    size_t length = 0;
    for (; name[length] != '\0'; length++) {
        if (length == kMaximalNameLength || (unsigned char)name[length] < 0x20 || name[length] == 0x7f)
            return false;
    }
    return length > 0;
}

bool tunnel_settings_add_name(tunnel_settings* self, const char* name) {
    bool added = self->name_count < kMaximalNames && is_printable(name) &&
                 nebrix_string_set(&self->names[self->name_count], name);
    self->name_count += added ? 1 : 0;
    self->name_refused = self->name_refused || !added;
    return added;
}

bool tunnel_settings_no_name_left(const tunnel_settings* self) { return self->name_refused && self->name_count == 0; }

// The path of a file in the certificate directory; empty without a file name.
static void build_path(const tunnel_settings* self, enum tunnel_setting file, nebrix_text* path) {
    const char* name = tunnel_settings_get(self, file);
    if (*name == '\0')
        return;
    nebrix_text_append(path, tunnel_settings_get(self, kCertDirectory));
    nebrix_text_append(path, "/");
    nebrix_text_append(path, name);
}

// The proxy for a server over tcp; null without one.
static const tunnel_proxy* choose_proxy(const tunnel_settings* self, const tunnel_server* server, tunnel_proxy* proxy,
                                        nebrix_log* log) {
    switch (tunnel_proxy_choose(tunnel_settings_get(self, kProxy), server, proxy)) {
        case kProxyHttp:
            nebrix_log_line(log, server->tcp ? "through the proxy " : "udp passes by the proxy ", proxy->address.host);
            return server->tcp ? proxy : NULL;
        case kProxyUnusable:
            nebrix_log_line(log, "the proxy is none that can be used, so there is none", "");
            return NULL;
        case kProxyNone:
            break;
    }
    return NULL;
}

bool tunnel_settings_start(const tunnel_settings* self, const tunnel_server* server, unsigned step_ms, tunnel* target,
                           nebrix_log* log) {
    nebrix_text cert = NEBRIX_TEXT_INIT(kMaximalPath);
    nebrix_text ca = NEBRIX_TEXT_INIT(kMaximalPath);
    build_path(self, kCertFileName, &cert);
    build_path(self, kCaFileName, &ca);
    tunnel_proxy proxy;
    const engine_parameters parameters = {.server = server,
                                          .proxy = choose_proxy(self, server, &proxy, log),
                                          .hostname = tunnel_settings_get(self, kHostname),
                                          .login = tunnel_settings_get(self, kLogin),
                                          .organization = tunnel_settings_get(self, kOrganization),
                                          .ticket = tunnel_settings_get(self, kTicket),
                                          .session_id = tunnel_settings_get(self, kSessionId),
                                          .cert_path = nebrix_text_get(&cert),
                                          .ca_path = nebrix_text_get(&ca),
                                          .cert_password = tunnel_settings_get(self, kCertPassword),
                                          .server_names = (const char* const*)self->names,
                                          .server_name_count = self->name_count,
                                          .directory = tunnel_settings_get(self, kPluginDir),
                                          .step_ms = step_ms};
    const bool started = !cert.failed && !ca.failed && tunnel_start(target, &parameters);
    explicit_bzero(&proxy, sizeof proxy);
    nebrix_text_free(&cert);
    nebrix_text_free(&ca);
    return started;
}
