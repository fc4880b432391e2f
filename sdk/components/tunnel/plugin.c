// SPDX-License-Identifier: MIT
// Reference tunnel plug-in: the whole contract of nebrix_component.h around the engines of its library.
//
// Does: keep what the setters gave; at the start check that there is what a tunnel needs; let an engine build it
// (tunnel.h) and report its states as the status list; keep a log without secrets; run several instances side by side.
//   no server, or one that cannot be read     close request with reason 4, which ends the session at once
//   no login or ticket                        "authError" and close request with reason 3 in every poll, which ends it
//                                             in about three seconds
//   a certificate file that cannot be read    close request with reason 4 where the engine needs it
// Does not: build a tunnel (see engine.h), fetch a file, open a published resource (LaunchSafeResource is left out).
//
// DllExecute2(command, value, ""):
//   "state"      0 not started or stopped, 1 on the way, 2 connected, 3 not authenticated
//   "step-ms"    pace of the simulated engine from the next start, 1 to 60000 milliseconds; 0, or -1 if value is none
//   "reconnect"  drops and rebuilds an established tunnel; 0, or -1 if none is established
//   others       -1
#define _POSIX_C_SOURCE 200809L
#include <errno.h>
#include <stdlib.h>
#include <string.h>

#include "common/log.h"
#include "common/text.h"
#include "settings.h"
#include "status.h"
#include "tunnel.h"
#define NEBRIX_IMPLEMENT_PLUGIN
#include "nebrix_component.h"

enum { kDefaultStepMs = 200, kMaximalStepMs = 60000 };

// The client's thread owns all members; log, status and tunnel synchronise themselves.
typedef struct instance {
    tunnel_settings settings;
    unsigned step_ms;
    bool started;
    tunnel* tunnel;
    tunnel_status status;
    nebrix_log log;
    struct instance* next;
} instance;

// Instances live to the end of the process; the list keeps them reachable for leak checkers.
static instance* g_instances;
static pthread_mutex_t g_instances_mutex = PTHREAD_MUTEX_INITIALIZER;

static void set(void* h, enum tunnel_setting which, const char* value) {
    if (h != NULL)
        tunnel_settings_set(&((instance*)h)->settings, which, value);
}

void* DllCreatePluginFrontal(void) {
    instance* self = calloc(1, sizeof *self);
    if (self == NULL)
        return NULL;
    nebrix_log_init(&self->log);
    tunnel_status_init(&self->status);
    self->step_ms = kDefaultStepMs;
    self->tunnel = tunnel_create(&self->status, &self->log);
    if (self->tunnel == NULL) {
        free(self);
        return NULL;
    }
    pthread_mutex_lock(&g_instances_mutex);
    self->next = g_instances;
    g_instances = self;
    pthread_mutex_unlock(&g_instances_mutex);
    return self;
}

void DllSetDllVersion2(void* h, const char* version) { set(h, kVersion, version); }
void DllSetPluginDir2(void* h, const char* plugin_dir) { set(h, kPluginDir, plugin_dir); }
void DllSetLogin2(void* h, const char* login) { set(h, kLogin, login); }
void DllSetOrganization2(void* h, const char* organization) { set(h, kOrganization, organization); }
void DllSetHostname2(void* h, const char* hostname) { set(h, kHostname, hostname); }
void DllSetServer2(void* h, const char* server) { set(h, kServer, server); }
void DllSetSuffix2(void* h, const char* suffix) { set(h, kSuffix, suffix); }
void DllSetTicket2(void* h, const char* ticket) { set(h, kTicket, ticket); }
void DllSetSessionId2(void* h, const char* session_id) { set(h, kSessionId, session_id); }
void DllSetCertDirectory2(void* h, const char* cert_directory) { set(h, kCertDirectory, cert_directory); }
void DllSetCertFileName2(void* h, const char* cert_file_name) { set(h, kCertFileName, cert_file_name); }
void DllSetCaFileName2(void* h, const char* ca_file_name) { set(h, kCaFileName, ca_file_name); }
void DllSetCertPassword2(void* h, const char* cert_password) { set(h, kCertPassword, cert_password); }

// Nothing is fetched. The names that follow are those of the next start.
void DllSetDownloadDelegate2(void* h, NebrixDownloadFileTo download) {
    (void)download;
    if (h != NULL)
        tunnel_settings_clear_names(&((instance*)h)->settings);
}

void DllAddSslServerCertificateName(void* h, const char* name) {
    instance* self = h;
    if (self == NULL || name == NULL)
        return;
    bool added = tunnel_settings_add_name(&self->settings, name);
    nebrix_log_line(&self->log, added ? "accepted server name: " : "refused server name: ", name);
}

static void refuse(instance* self, const char* why, const char* value, int reason) {
    nebrix_log_line(&self->log, why, value);
    tunnel_status_request_close(&self->status, reason);
}

static void start(instance* self, const tunnel_server* server) {
    nebrix_log_line(&self->log, "start towards ", tunnel_settings_get(&self->settings, kServer));
    self->started = tunnel_settings_start(&self->settings, server, self->step_ms, self->tunnel, &self->log);
    if (!self->started)
        refuse(self, "not started: no memory or no thread", "", kCloseCannotRun);
}

// A start while running changes nothing.
void DllStart2(void* h) {
    instance* self = h;
    if (self == NULL || self->started)
        return;
    const tunnel_settings* settings = &self->settings;
    tunnel_server server;
    tunnel_status_clear(&self->status);
    if (*tunnel_settings_get(settings, kServer) == '\0') {
        refuse(self, "not started: no server", "", kCloseCannotRun);
    } else if (!tunnel_server_parse(tunnel_settings_get(settings, kServer), &server)) {
        refuse(self, "not started: no server can be read from ", tunnel_settings_get(settings, kServer),
               kCloseCannotRun);
    } else if (*tunnel_settings_get(settings, kLogin) == '\0' || *tunnel_settings_get(settings, kTicket) == '\0') {
        tunnel_status_push(&self->status, NEBRIX_STATUS_AUTH_ERROR);
        refuse(self, "not started: no login or no ticket", "", kCloseNotAuthenticated);
    } else if (tunnel_settings_no_name_left(settings)) {
        refuse(self, "not started: every name for the server's certificate is refused", "", kCloseCannotRun);
    } else {
        start(self, &server);
    }
}

void DllStop2(void* h) {
    instance* self = h;
    if (self == NULL)
        return;
    tunnel_stop(self->tunnel);
    self->started = false;
    tunnel_status_clear(&self->status);
    nebrix_log_line(&self->log, "stopped", "");
}

// Where the client knows the proxy only after the start, the tunnel is begun once more.
void DllSetProxy2(void* h, const char* proxy_description) {
    instance* self = h;
    if (self == NULL || proxy_description == NULL)
        return;
    const bool changed = strcmp(tunnel_settings_get(&self->settings, kProxy), proxy_description) != 0;
    set(h, kProxy, proxy_description);
    if (self->started && changed) {
        DllStop2(h);
        DllStart2(h);
    }
}

char* DllGetErrors2(void* h) { return h == NULL ? NULL : tunnel_status_take(&((instance*)h)->status); }

char* DllGetLogs2(void* h) { return h == NULL ? NULL : nebrix_log_copy(&((instance*)h)->log); }

void DllReleaseStr(char* text) { free(text); }

static int state_number(instance* self) {
    char present[kStatusLength];
    tunnel_status_present(&self->status, present);
    if (present[0] == '\0')
        return 0;
    if (strcmp(present, NEBRIX_STATUS_AUTH_ERROR) == 0)
        return 3;
    return strncmp(present, NEBRIX_STATUS_CONNECTED, strlen(NEBRIX_STATUS_CONNECTED)) == 0 ? 2 : 1;
}

static int set_step(instance* self, const char* value) {
    char* end = NULL;
    errno = 0;
    long ms = strtol(value, &end, 10);
    if (errno != 0 || end == value || *end != '\0' || ms < 1 || ms > kMaximalStepMs)
        return -1;
    self->step_ms = (unsigned)ms;
    return 0;
}

int DllExecute2(void* h, const char* a, const char* b, const char* c) {
    (void)c;
    instance* self = h;
    if (self == NULL || a == NULL)
        return -1;
    if (strcmp(a, "state") == 0)
        return state_number(self);
    if (strcmp(a, "step-ms") == 0)
        return set_step(self, b == NULL ? "" : b);
    if (strcmp(a, "reconnect") == 0)
        return tunnel_reconnect(self->tunnel) ? 0 : -1;
    return -1;
}
