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
#define _DEFAULT_SOURCE
#include <errno.h>
#include <stdlib.h>
#include <string.h>

#include "common/log.h"
#include "common/text.h"
#include "status.h"
#include "tunnel.h"
#define NEBRIX_IMPLEMENT_PLUGIN
#include "nebrix_component.h"

enum setting {
    kVersion,
    kPluginDir,
    kLogin,
    kOrganization,
    kHostname,
    kServer,
    kSuffix,
    kTicket,
    kSessionId,
    kCertDirectory,
    kCertFileName,
    kCaFileName,
    kCertPassword,
    kProxy,
    kSettingCount
};

enum { kDefaultStepMs = 200, kMaximalStepMs = 60000, kMaximalNames = 32, kMaximalNameLength = 255 };

// The client's thread owns all members; log, status and tunnel synchronise themselves.
typedef struct instance {
    char* settings[kSettingCount];  // owned; null until set
    char* names[kMaximalNames];     // owned; names that the server's certificate may bear
    size_t name_count;
    bool name_refused;
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

static void set(void* h, enum setting which, const char* value) {
    if (h != NULL)
        nebrix_string_set(&((instance*)h)->settings[which], value);
}

static const char* get(const instance* self, enum setting which) {
    return self->settings[which] == NULL ? "" : self->settings[which];
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

// The first of the setters that come before each start.
void DllSetLogin2(void* h, const char* login) {
    set(h, kLogin, login);
    if (h != NULL) {
        ((instance*)h)->name_count = 0;
        ((instance*)h)->name_refused = false;
    }
}

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
void DllSetProxy2(void* h, const char* proxy_description) { set(h, kProxy, proxy_description); }

// Nothing is fetched.
void DllSetDownloadDelegate2(void* h, NebrixDownloadFileTo download) { (void)h, (void)download; }

static bool is_printable(const char* name) {
    size_t length = 0;
    for (; name[length] != '\0'; length++) {
        if (length == kMaximalNameLength || (unsigned char)name[length] < 0x20 || name[length] == 0x7f)
            return false;
    }
    return length > 0;
}

// A name that is refused makes the choice of servers smaller, never larger: see start_tunnel().
void DllAddSslServerCertificateName(void* h, const char* name) {
    instance* self = h;
    if (self == NULL)
        return;
    if (self->name_count == kMaximalNames || name == NULL || !is_printable(name) ||
        !nebrix_string_set(&self->names[self->name_count], name)) {
        self->name_refused = true;
        nebrix_log_line(&self->log, "server name not accepted: ", name == NULL ? "" : name);
        return;
    }
    self->name_count++;
    nebrix_log_line(&self->log, "accepted server name: ", name);
}

// The path of a file in the certificate directory; empty without a file name.
static void build_path(const instance* self, enum setting file, nebrix_text* path) {
    if (*get(self, file) == '\0')
        return;
    nebrix_text_append(path, get(self, kCertDirectory));
    nebrix_text_append(path, "/");
    nebrix_text_append(path, get(self, file));
}

static void refuse(instance* self, const char* why, const char* value, int reason) {
    nebrix_log_line(&self->log, why, value);
    tunnel_status_request_close(&self->status, reason);
}

// The proxy for a server over tcp; null without one.
static const tunnel_proxy* choose_proxy(instance* self, const tunnel_server* server, tunnel_proxy* proxy) {
    switch (tunnel_proxy_choose(get(self, kProxy), server, proxy)) {
        case kProxyHttp:
            nebrix_log_line(&self->log, server->tcp ? "through the proxy " : "udp passes by the proxy ",
                            proxy->address.host);
            return server->tcp ? proxy : NULL;
        case kProxyUnusable:
            nebrix_log_line(&self->log, "the proxy is none that can be used; connecting without", "");
            return NULL;
        case kProxyNone:
            break;
    }
    return NULL;
}

static bool start_tunnel(instance* self, const tunnel_server* server) {
    nebrix_text cert = NEBRIX_TEXT_INIT(8192);
    nebrix_text ca = NEBRIX_TEXT_INIT(8192);
    build_path(self, kCertFileName, &cert);
    build_path(self, kCaFileName, &ca);
    tunnel_proxy proxy;
    engine_parameters parameters = {.server = server,
                                    .proxy = choose_proxy(self, server, &proxy),
                                    .hostname = get(self, kHostname),
                                    .login = get(self, kLogin),
                                    .organization = get(self, kOrganization),
                                    .ticket = get(self, kTicket),
                                    .session_id = get(self, kSessionId),
                                    .cert_path = nebrix_text_get(&cert),
                                    .ca_path = nebrix_text_get(&ca),
                                    .cert_password = get(self, kCertPassword),
                                    .server_names = (const char* const*)self->names,
                                    .server_name_count = self->name_count,
                                    .directory = get(self, kPluginDir),
                                    .step_ms = self->step_ms};
    bool started = !cert.failed && !ca.failed && tunnel_start(self->tunnel, &parameters);
    explicit_bzero(&proxy, sizeof proxy);
    nebrix_text_free(&cert);
    nebrix_text_free(&ca);
    return started;
}

// A start while running changes nothing.
void DllStart2(void* h) {
    instance* self = h;
    tunnel_server server;
    if (self == NULL || self->started)
        return;
    tunnel_status_clear(&self->status);
    if (*get(self, kServer) == '\0') {
        refuse(self, "not started: no server", "", kCloseCannotRun);
    } else if (!tunnel_server_parse(get(self, kServer), &server)) {
        refuse(self, "not started: no server can be read from ", get(self, kServer), kCloseCannotRun);
    } else if (*get(self, kLogin) == '\0' || *get(self, kTicket) == '\0') {
        tunnel_status_push(&self->status, NEBRIX_STATUS_AUTH_ERROR);
        refuse(self, "not started: no login or no ticket", "", kCloseNotAuthenticated);
    } else if (self->name_count == 0 && self->name_refused) {
        refuse(self, "not started: no name of the server's certificate is accepted", "", kCloseCannotRun);
    } else {
        nebrix_log_line(&self->log, "start towards ", get(self, kServer));
        self->started = start_tunnel(self, &server);
        if (!self->started)
            refuse(self, "not started: no memory or no thread", "", kCloseCannotRun);
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
