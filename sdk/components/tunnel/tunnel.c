// SPDX-License-Identifier: MIT
#define _POSIX_C_SOURCE 200809L
#include "tunnel.h"

#include <pthread.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>

#include "common/text.h"
#include "nebrix_component.h"
#include "parameters.h"
#include "wishes.h"

struct tunnel {
    tunnel_status* status;  // constant after creation; synchronises itself
    nebrix_log* log;        // constant after creation; synchronises itself
    engine_wishes wishes;   // synchronises itself

    // Of the thread that starts and stops.
    pthread_t thread;
    bool started;

    // Of the tunnel's thread, while there is one.
    owned_parameters parameters;
    const engine_type* engine;  // the one that is asked
    bool has_tunnel;            // and whether it has said anything of a tunnel
    bool closing;               // a close request stands
};

static void log_line(void* context, const char* text, const char* value) {
    tunnel* self = context;
    nebrix_log_line(self->log, text, value);
}

// An engine that says something of a tunnel has it.
static void announce(tunnel* self) {
    if (!self->has_tunnel)
        nebrix_log_line(self->log, "engine: ", self->engine->name);
    self->has_tunnel = true;
}

static void report(void* context, const char* status) {
    tunnel* self = context;
    announce(self);
    if (tunnel_status_push(self->status, status))
        nebrix_log_line(self->log, "state: ", status);
}

static void request_close(void* context, int reason) {
    tunnel* self = context;
    announce(self);
    self->closing = true;
    tunnel_status_request_close(self->status, reason);
}

static void refuse(tunnel* self, const char* why, const char* value) {
    nebrix_log_line(self->log, why, value);
    tunnel_status_request_close(self->status, kCloseCannotRun);
}

// The kind of one file; says what is wrong with it.
static certificate_kind look_at(tunnel* self, const char* path) {
    certificate_kind kind = certificate_kind_of(path);
    if (kind == kCertificateUnreadable)
        nebrix_log_line(self->log, "cannot read ", path);
    if (kind == kCertificateUnknown)
        nebrix_log_line(self->log, "neither PEM nor PKCS#12: ", path);
    return kind;
}

// Whether there are the files that an engine cannot do without: what the gateway names is used or nothing is.
static bool files_usable(tunnel* self) {
    const engine_parameters* values = &self->parameters.values;
    const bool without = values->cert_kind == kCertificateNone;
    const bool with_key = values->cert_kind == kCertificatePemWithKey || values->cert_kind == kCertificatePkcs12;
    const bool authority = values->ca_kind == kCertificatePem || values->ca_kind == kCertificatePemWithKey;
    const bool enclosed = values->ca_kind == kCertificateNone && values->cert_kind == kCertificatePkcs12;
    if (!without && !with_key)
        refuse(self, "no tunnel: no client certificate with its key in ", values->cert_path);
    else if (!authority && !enclosed && *values->ca_path == '\0')
        refuse(self, "no tunnel: the gateway names no certificate of an authority", "");
    else if (!authority && !enclosed)
        refuse(self, "no tunnel: no certificate of an authority, in PEM form, in ", values->ca_path);
    else
        return true;
    return false;
}

// True once one engine had its turn.
static bool run_one(tunnel* self, const engine_type* engine) {
    const engine_listener listener = {self, report, request_close, log_line};
    if (engine->uses_files && !files_usable(self))
        return true;
    self->engine = engine;
    if (engine->run(&self->parameters.values, &listener, &self->wishes) == kEngineUnavailable && !self->has_tunnel)
        return false;
    announce(self);
    if (!self->closing && engine_wishes_take(&self->wishes) != kEngineStop)
        refuse(self, "the engine ended by itself", "");
    return true;
}

// None could. One line says what would be needed.
static void say_what_is_needed(tunnel* self, const char* wanted) {
    nebrix_text needs = NEBRIX_TEXT_INIT(1024);
    for (size_t i = 0; nebrix_engines[i] != NULL; i++) {
        if (*wanted != '\0' && strcmp(wanted, nebrix_engines[i]->name) != 0)
            continue;
        nebrix_text_append(&needs, needs.length == 0 ? "" : "; or ");
        nebrix_text_append(&needs, nebrix_engines[i]->needs);
    }
    if (needs.length == 0)
        refuse(self, "no tunnel: there is no such engine here: ", wanted);
    else
        refuse(self, "no tunnel can be built on this machine, which needs ", nebrix_text_get(&needs));
    nebrix_text_free(&needs);
}

static void* run(void* argument) {
    tunnel* self = argument;
    const char* wanted = getenv("NEBRIX_TUNNEL_ENGINE");
    if (wanted == NULL)
        wanted = "";
    self->parameters.values.cert_kind = look_at(self, self->parameters.values.cert_path);
    self->parameters.values.ca_kind = look_at(self, self->parameters.values.ca_path);
    bool done = false;
    for (size_t i = 0; nebrix_engines[i] != NULL && !done; i++) {
        if (*wanted == '\0' || strcmp(wanted, nebrix_engines[i]->name) == 0)
            done = run_one(self, nebrix_engines[i]);
    }
    if (!done)
        say_what_is_needed(self, wanted);
    owned_parameters_wipe(&self->parameters);
    return NULL;
}

tunnel* tunnel_create(tunnel_status* status, nebrix_log* log) {
    tunnel* self = calloc(1, sizeof *self);
    if (self == NULL || !engine_wishes_init(&self->wishes)) {
        free(self);
        return NULL;
    }
    self->status = status;
    self->log = log;
    return self;
}

// The client's signals are for the client's threads.
static bool create_thread(tunnel* self) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    bool created = pthread_create(&self->thread, NULL, run, self) == 0;
    pthread_sigmask(SIG_SETMASK, &before, NULL);
    return created;
}

bool tunnel_start(tunnel* self, const engine_parameters* parameters) {
    if (self->started || !owned_parameters_copy(&self->parameters, parameters))
        return false;
    engine_wishes_reset(&self->wishes);
    self->has_tunnel = false;
    self->closing = false;
    self->started = create_thread(self);
    if (!self->started)
        owned_parameters_wipe(&self->parameters);
    return self->started;
}

void tunnel_stop(tunnel* self) {
    if (!self->started)
        return;
    engine_wishes_put(&self->wishes, kEngineStop);
    pthread_join(self->thread, NULL);
    self->started = false;
}

bool tunnel_reconnect(tunnel* self) {
    char present[kStatusLength];
    tunnel_status_present(self->status, present);
    if (!self->started || strncmp(present, NEBRIX_STATUS_CONNECTED, strlen(NEBRIX_STATUS_CONNECTED)) != 0)
        return false;
    engine_wishes_put(&self->wishes, kEngineReconnect);
    return true;
}
