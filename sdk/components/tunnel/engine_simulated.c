// The simulated engine: takes every state of a tunnel at a fixed pace, on a thread of its own.
//
// Does: report "init", "authenticating", "getconfig" and "connected ip=ADDRESS" one step apart; on a wish,
// "reconnecting" and "connected" again; stop at once in any state. The address is made from the session identifier
// and lies in 192.0.2.0/24, which is kept for documentation (RFC 5737), so that nobody takes it for a real one.
// Does not: open a connection, send or check a credential, read a certificate, make a network interface.
#define _POSIX_C_SOURCE 200809L
#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include "engine.h"
#include "nebrix_component.h"

struct engine {
    engine_report report;  // constant after creation
    void* context;         // constant after creation
    pthread_t thread;      // of the thread that starts and stops
    bool running;          // of the thread that starts and stops
    unsigned step_ms;      // constant while running
    char connected[40];    // constant while running: the final status line

    pthread_mutex_t mutex;  // guards what follows
    pthread_cond_t wake;
    bool stopping;
    bool established;
    bool reconnect;
};

static struct timespec deadline(unsigned ms) {
    struct timespec at;
    clock_gettime(CLOCK_MONOTONIC, &at);
    at.tv_sec += (time_t)(ms / 1000);
    at.tv_nsec += (long)(ms % 1000) * 1000000L;
    if (at.tv_nsec >= 1000000000L) {
        at.tv_sec++;
        at.tv_nsec -= 1000000000L;
    }
    return at;
}

// Waits one step; false when told to stop.
static bool step(engine* self) {
    struct timespec until = deadline(self->step_ms);
    pthread_mutex_lock(&self->mutex);
    while (!self->stopping && pthread_cond_timedwait(&self->wake, &self->mutex, &until) != ETIMEDOUT) {
    }
    bool go_on = !self->stopping;
    pthread_mutex_unlock(&self->mutex);
    return go_on;
}

// Stays connected until told to reconnect (true) or to stop (false).
static bool stay_connected(engine* self) {
    pthread_mutex_lock(&self->mutex);
    self->established = true;
    while (!self->stopping && !self->reconnect)
        pthread_cond_wait(&self->wake, &self->mutex);
    bool again = !self->stopping;
    self->established = false;
    self->reconnect = false;
    pthread_mutex_unlock(&self->mutex);
    return again;
}

static void* run(void* argument) {
    static const char* const kWay[] = {NEBRIX_STATUS_INIT, NEBRIX_STATUS_AUTHENTICATING, NEBRIX_STATUS_GETCONFIG};
    engine* self = argument;
    for (size_t i = 0; i < sizeof kWay / sizeof kWay[0]; i++) {
        self->report(self->context, kWay[i]);
        if (!step(self))
            return NULL;
    }
    for (;;) {
        self->report(self->context, self->connected);
        if (!stay_connected(self))
            return NULL;
        self->report(self->context, NEBRIX_STATUS_RECONNECTING);
        if (!step(self))
            return NULL;
    }
}

engine* engine_create(engine_report report, void* context) {
    engine* self = calloc(1, sizeof *self);
    if (self == NULL)
        return NULL;
    self->report = report;
    self->context = context;
    pthread_condattr_t monotonic;
    pthread_condattr_init(&monotonic);
    pthread_condattr_setclock(&monotonic, CLOCK_MONOTONIC);
    pthread_cond_init(&self->wake, &monotonic);
    pthread_condattr_destroy(&monotonic);
    pthread_mutex_init(&self->mutex, NULL);
    return self;
}

// FNV-1a, folded to a host number from 1 to 254.
static unsigned host_number(const char* session_id) {
    uint32_t hash = 2166136261U;
    for (; *session_id != '\0'; session_id++)
        hash = (hash ^ (unsigned char)*session_id) * 16777619U;
    return 1 + hash % 254;
}

bool engine_start(engine* self, const engine_parameters* parameters) {
    if (self->running)
        return false;
    self->step_ms = parameters->step_ms;
    self->stopping = false;
    self->reconnect = false;
    snprintf(self->connected, sizeof self->connected, NEBRIX_STATUS_CONNECTED_IP "192.0.2.%u",
             host_number(parameters->session_id));
    // The client's signals are for the client's threads.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    self->running = pthread_create(&self->thread, NULL, run, self) == 0;
    pthread_sigmask(SIG_SETMASK, &before, NULL);
    return self->running;
}

void engine_stop(engine* self) {
    if (!self->running)
        return;
    pthread_mutex_lock(&self->mutex);
    self->stopping = true;
    pthread_cond_broadcast(&self->wake);
    pthread_mutex_unlock(&self->mutex);
    pthread_join(self->thread, NULL);
    self->running = false;
}

bool engine_reconnect(engine* self) {
    pthread_mutex_lock(&self->mutex);
    bool established = self->established;
    self->reconnect = self->reconnect || established;
    pthread_cond_broadcast(&self->wake);
    pthread_mutex_unlock(&self->mutex);
    return established;
}
