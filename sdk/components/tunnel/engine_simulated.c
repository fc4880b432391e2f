// SPDX-License-Identifier: MIT
// The simulated engine, alone in libnebrix-tunnel-simulated: takes every state of a tunnel at a fixed pace.
//
// Does: report "init", "authenticating", "getconfig" and "connected ip=ADDRESS" one step apart; on a wish,
// "reconnecting" and "connected" again; stop at once in any state. The address is made from the session identifier
// and lies in 192.0.2.0/24, which is kept for documentation (RFC 5737), so that nobody takes it for a real one.
// Does not: open a connection, send or check a credential, read a certificate, make a network interface.
#define _POSIX_C_SOURCE 200809L
#include <poll.h>
#include <stdint.h>
#include <stdio.h>
#include <time.h>

#include "engine.h"
#include "nebrix_component.h"

static long long now_ms(void) {
    struct timespec at;
    clock_gettime(CLOCK_MONOTONIC, &at);
    return at.tv_sec * 1000LL + at.tv_nsec / 1000000;
}

// Waits so long, -1 for ever, or until a wish ends the wait: kEngineNothing when the time is over. A reconnection is
// no wish that a tunnel on its way heeds.
static engine_wish wait_for_wish(engine_wishes* wishes, int ms) {
    const long long end = now_ms() + ms;
    for (;;) {
        engine_wish wish = engine_wishes_take(wishes);
        if (wish == kEngineStop || (wish == kEngineReconnect && ms < 0))
            return wish;
        long long left = ms < 0 ? -1 : end - now_ms();
        if (ms >= 0 && left <= 0)
            return kEngineNothing;
        struct pollfd descriptor = {engine_wishes_descriptor(wishes), POLLIN, 0};
        poll(&descriptor, 1, (int)left);
    }
}

// FNV-1a, folded to a host number from 1 to 254.
static unsigned host_number(const char* session_id) {
    uint32_t hash = 2166136261U;
    for (; *session_id != '\0'; session_id++)
        hash = (hash ^ (unsigned char)*session_id) * 16777619U;
    return 1 + hash % 254;
}

static engine_result run(const engine_parameters* parameters, const engine_listener* listener, engine_wishes* wishes) {
    static const char* const kWay[] = {NEBRIX_STATUS_INIT, NEBRIX_STATUS_AUTHENTICATING, NEBRIX_STATUS_GETCONFIG};
    const int step = (int)parameters->step_ms;
    char connected[40];
    snprintf(connected, sizeof connected, NEBRIX_STATUS_CONNECTED_IP "192.0.2.%u", host_number(parameters->session_id));
    listener->log(listener->context, "this engine is simulated: there is no tunnel, and nothing is carried", "");
    for (size_t i = 0; i < sizeof kWay / sizeof kWay[0]; i++) {
        listener->report(listener->context, kWay[i]);
        if (wait_for_wish(wishes, step) == kEngineStop)
            return kEngineEnded;
    }
    for (;;) {
        listener->report(listener->context, connected);
        if (wait_for_wish(wishes, -1) == kEngineStop)
            return kEngineEnded;
        listener->report(listener->context, NEBRIX_STATUS_RECONNECTING);
        if (wait_for_wish(wishes, step) == kEngineStop)
            return kEngineEnded;
    }
}

static const engine_type kSimulated = {.name = "simulated", .needs = "nothing", .uses_files = false, .run = run};

const engine_type* const nebrix_engines[] = {&kSimulated, NULL};
