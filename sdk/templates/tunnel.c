// SPDX-FileCopyrightText: 2026 Nebrix
// SPDX-License-Identifier: MIT
//
// @NAME@: a tunnel plug-in, begun with "nebrix-sign new tunnel".
//
// nebrix_component.h is the contract; the numbers of its conventions stand below where code keeps them. What is here
// keeps all of it and carries nothing: carry() takes the states of a tunnel one second apart, on a thread of its own.
// Your work goes there, and what it needs to know into the setters.
#define _POSIX_C_SOURCE 200809L
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#define NEBRIX_IMPLEMENT_PLUGIN
#include "nebrix_component.h"

enum { kLogSize = 16 * 1024, kLongestLine = 256, kListSize = 256 };
// Reasons of close requests: the first ends the session after six polls in a row, the second at once.
enum { kCloseNone = 0, kCloseNotAuthenticated = 3, kCloseCannotRun = 4 };

typedef struct plugin {
    // Of the client's thread alone; the tunnel's thread reads them while it runs.
    char* server;
    char* login;
    char* ticket;  // a secret (12)
    NebrixDownloadFileTo download;
    bool running;
    pthread_t thread;

    pthread_mutex_t mutex;  // guards what follows
    pthread_cond_t changed;
    bool stop;
    const char* status;  // the present state, or null
    int close_reason;
    char log[kLogSize];

    struct plugin* next;
} plugin;

// Instances live to the end of the process (9). The list keeps them in sight of tools that look for leaks.
static plugin* g_plugins;
static pthread_mutex_t g_plugins_mutex = PTHREAD_MUTEX_INITIALIZER;

// ---- What both threads use ----

// A line of the log: never a secret (12), and of printable ASCII alone, since the value may be the gateway's (3).
static void note(plugin* self, const char* text, const char* value) {
    char line[kLongestLine];
    int length = snprintf(line, sizeof line - 1, "%s%s", text, value);
    if (length < 0 || (size_t)length > sizeof line - 2)
        length = (int)sizeof line - 2;
    for (int i = 0; i < length; i++) {
        if (line[i] < ' ' || line[i] > '~')
            line[i] = '?';
    }
    line[length] = '\n';
    line[length + 1] = '\0';
    pthread_mutex_lock(&self->mutex);
    size_t used = strlen(self->log);
    if (used + sizeof line > sizeof self->log)
        used = 0;  // begins anew
    memcpy(self->log + used, line, (size_t)length + 2);
    pthread_mutex_unlock(&self->mutex);
}

// The state that polls are told from now on, and the request for the session's end, if there is one. The status is a
// literal of this file: text from elsewhere would have to be escaped for JSON.
static void report(plugin* self, const char* status, int close_reason) {
    pthread_mutex_lock(&self->mutex);
    self->status = status;
    self->close_reason = close_reason;
    pthread_mutex_unlock(&self->mutex);
    note(self, "state: ", status == NULL ? "none" : status);
}

// ---- The tunnel's thread ----

// Waits so many seconds, 0 for ever; true as soon as the plug-in is told to stop.
static bool stopped_within(plugin* self, int seconds) {
    struct timespec end;
    clock_gettime(CLOCK_MONOTONIC, &end);
    end.tv_sec += seconds;
    pthread_mutex_lock(&self->mutex);
    int failed = 0;
    while (!self->stop && failed == 0) {
        failed = seconds == 0 ? pthread_cond_wait(&self->changed, &self->mutex)
                              : pthread_cond_timedwait(&self->changed, &self->mutex, &end);
    }
    bool stop = self->stop;
    pthread_mutex_unlock(&self->mutex);
    return stop;
}

// Your tunnel. Whatever blocks here must end soon after DllStop2, which waits for this thread and has five seconds. A
// tunnel that is over for good reports kCloseCannotRun. Files of the gateway come by self->download(url, path).
static void* carry(void* argument) {
    static const char* const kWay[] = {NEBRIX_STATUS_INIT, NEBRIX_STATUS_AUTHENTICATING, NEBRIX_STATUS_GETCONFIG};
    plugin* self = argument;
    note(self, "start towards ", self->server);
    for (size_t i = 0; i < sizeof kWay / sizeof kWay[0]; i++) {
        report(self, kWay[i], kCloseNone);
        if (stopped_within(self, 1))
            return NULL;
    }
    report(self, NEBRIX_STATUS_CONNECTED_IP "192.0.2.1", kCloseNone);
    stopped_within(self, 0);
    return NULL;
}

// With all signals blocked: the client's signals are the client's.
static bool start_thread(plugin* self) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    bool started = pthread_create(&self->thread, NULL, carry, self) == 0;
    pthread_sigmask(SIG_SETMASK, &before, NULL);
    return started;
}

// ---- The entries, all called by one thread of the client (1) ----

// The client's strings live for the call only (4). What stood there before may be a secret: it is overwritten.
static void keep(char** slot, const char* value) {
    for (volatile char* at = *slot; at != NULL && *at != '\0'; at++)
        *at = '\0';
    free(*slot);
    *slot = strdup(value);
}

static bool given(const char* text) { return text != NULL && *text != '\0'; }

void* DllCreatePluginFrontal(void) {
    plugin* self = calloc(1, sizeof *self);
    if (self == NULL)
        return NULL;
    pthread_condattr_t clock;
    pthread_condattr_init(&clock);
    pthread_condattr_setclock(&clock, CLOCK_MONOTONIC);
    pthread_cond_init(&self->changed, &clock);
    pthread_condattr_destroy(&clock);
    pthread_mutex_init(&self->mutex, NULL);
    pthread_mutex_lock(&g_plugins_mutex);
    self->next = g_plugins;
    g_plugins = self;
    pthread_mutex_unlock(&g_plugins_mutex);
    return self;
}

void DllSetServer2(void* h, const char* server) { keep(&((plugin*)h)->server, server); }
void DllSetLogin2(void* h, const char* login) { keep(&((plugin*)h)->login, login); }
void DllSetTicket2(void* h, const char* ticket) { keep(&((plugin*)h)->ticket, ticket); }
void DllSetDownloadDelegate2(void* h, NebrixDownloadFileTo download) { ((plugin*)h)->download = download; }

// Not used so far.
void DllSetDllVersion2(void* h, const char* version) { (void)h, (void)version; }
void DllSetPluginDir2(void* h, const char* plugin_dir) { (void)h, (void)plugin_dir; }
void DllSetProxy2(void* h, const char* proxy_description) { (void)h, (void)proxy_description; }
void DllSetOrganization2(void* h, const char* organization) { (void)h, (void)organization; }
void DllSetHostname2(void* h, const char* hostname) { (void)h, (void)hostname; }
void DllSetSuffix2(void* h, const char* suffix) { (void)h, (void)suffix; }
void DllSetSessionId2(void* h, const char* session_id) { (void)h, (void)session_id; }
void DllSetCertDirectory2(void* h, const char* cert_directory) { (void)h, (void)cert_directory; }
void DllSetCertFileName2(void* h, const char* cert_file_name) { (void)h, (void)cert_file_name; }
void DllSetCaFileName2(void* h, const char* ca_file_name) { (void)h, (void)ca_file_name; }
void DllSetCertPassword2(void* h, const char* cert_password) { (void)h, (void)cert_password; }
void DllAddSslServerCertificateName(void* h, const char* name) { (void)h, (void)name; }

// Never waits: what takes time is the thread's.
void DllStart2(void* h) {
    plugin* self = h;
    if (self->running)
        return;
    self->stop = false;
    if (!given(self->server)) {
        report(self, NULL, kCloseCannotRun);
    } else if (!given(self->login) || !given(self->ticket)) {
        report(self, NEBRIX_STATUS_AUTH_ERROR, kCloseNotAuthenticated);
    } else {
        report(self, NEBRIX_STATUS_INIT, kCloseNone);
        self->running = start_thread(self);
        if (!self->running)
            report(self, NULL, kCloseCannotRun);
    }
}

void DllStop2(void* h) {
    plugin* self = h;
    pthread_mutex_lock(&self->mutex);
    self->stop = true;
    pthread_cond_broadcast(&self->changed);
    pthread_mutex_unlock(&self->mutex);
    if (self->running)
        pthread_join(self->thread, NULL);
    self->running = false;
    report(self, NULL, kCloseNone);
}

// Asked every 500 ms. State and close request are told in each poll for as long as they stand.
char* DllGetErrors2(void* h) {
    plugin* self = h;
    char list[kListSize] = "[";
    size_t used = 1;
    pthread_mutex_lock(&self->mutex);
    if (self->status != NULL)
        used += (size_t)snprintf(list + used, sizeof list - used, "{\"code\":%d,\"status\":\"%.100s\"}",
                                 NEBRIX_MESSAGE_STATUS, self->status);
    if (self->close_reason != kCloseNone)
        used += (size_t)snprintf(list + used, sizeof list - used, "%s{\"code\":%d,\"reason\":%d}", used > 1 ? "," : "",
                                 NEBRIX_MESSAGE_CLOSE_REQUEST, self->close_reason);
    pthread_mutex_unlock(&self->mutex);
    snprintf(list + used, sizeof list - used, "]");
    return strdup(list);
}

char* DllGetLogs2(void* h) {
    plugin* self = h;
    pthread_mutex_lock(&self->mutex);
    char* copy = strdup(self->log);
    pthread_mutex_unlock(&self->mutex);
    return copy;
}

// What the two above returned comes back here (5).
void DllReleaseStr(char* text) { free(text); }

// Commands of your own, for whoever asks.
int DllExecute2(void* h, const char* a, const char* b, const char* c) {
    (void)h, (void)a, (void)b, (void)c;
    return -1;
}
