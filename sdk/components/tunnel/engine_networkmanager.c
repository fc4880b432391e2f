// SPDX-License-Identifier: MIT
// The NetworkManager engine: when it can have the tunnel, what it says of it, and when that is over.
//
// Does: one call of AddAndActivateConnection2 for each name that the server's certificate may bear, on a bus connection
// of its own, so that the tunnel ends with the process; tell states and ends; build a lost tunnel again for
// kGiveUpMs at most.
// Does not: send organisation and session id (NetworkManager's OpenVPN plug-in has no way for UV_ variables); tell a
// server that is silent from one whose certificate is not accepted (openvpn tries again in silence in both cases).
#define _POSIX_C_SOURCE 200809L
#include "engine_networkmanager.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "nebrix_component.h"
#include "nm_session.h"
#include "status.h"

enum {
    kStepMs = 60000,        // nothing is waited for: just no longer than this
    kTakeDownMs = 700,      // for NetworkManager to take a tunnel down
    kTryAgainMs = 1000,     // between two attempts to build a lost tunnel
    kGiveUpMs = 120 * 1000  // without a tunnel that had been there
};

typedef struct {
    nm_session session;
    const engine_listener* listener;
    bool has_base;         // there is an active connection to rest on
    size_t stage;          // how far the first attempts got
    bool established;      // it has been connected
    bool read;             // the present tunnel's address was read
    int64_t give_up_ms;    // when to give a lost tunnel up; 0 while there is one
    int64_t try_again_ms;  // when to ask for a lost one again
    bool over;
} engine;

static void say(engine* self, const char* text, const char* value) {
    self->listener->log(self->listener->context, text, value);
}

static void report(engine* self, const char* status) { self->listener->report(self->listener->context, status); }

static bool has_daemon(const engine* self) { return self->session.bus.daemon[0] != '\0'; }

static void finish(engine* self, int reason, const char* why, const char* value) {
    say(self, why, value);
    if (reason == kCloseNotAuthenticated)
        report(self, NEBRIX_STATUS_AUTH_ERROR);
    self->listener->request_close(self->listener->context, reason);
    self->over = true;
}

// NMActiveConnectionStateReason in words.
static const char* reason_words(unsigned reason) {
    static const char* const kWords[] = {
        "no reason told",
        "no reason told",
        "ended by its user",
        "the network below it went",
        "openvpn ended",
        "no usable address from the server",
        "no answer from the server in time, or a certificate or its password not accepted",
        "the OpenVPN plug-in did not start in time",
        "the OpenVPN plug-in did not start",
        "the server did not accept the login, or the certificate's password is wrong",
        "the server did not accept the login",
        "the connection was removed",
        "what it depends on failed"};
    return kWords[reason < sizeof kWords / sizeof kWords[0] ? reason : 0];
}

static bool plugin_installed(void) {
    return access("/usr/lib/NetworkManager/VPN/nm-openvpn-service.name", F_OK) == 0 ||
           access("/etc/NetworkManager/VPN/nm-openvpn-service.name", F_OK) == 0;
}

// Why NetworkManager took no request, result being the failure. The texts of its errors are left out: they may quote
// what the gateway gave.
static void say_refused(engine* self, int result) {
    const char* name = self->session.bus.error;
    if (strcmp(name, NM_NAME ".PermissionDenied") == 0)
        say(self, "NetworkManager does not allow this user to start a connection ", "(polkit: network-control)");
    else if (result == -ETIMEDOUT)
        say(self, "NetworkManager does not answer", "");
    else if (result == -EINVAL && *name == '\0')
        say(self, "a value that the gateway gave is not UTF-8 text, which NetworkManager needs", "");
    else if (*name == '\0')
        say(self, "NetworkManager does not answer as it should: ", strerror(-result));
    else if (!plugin_installed())
        say(self, "NetworkManager has no OpenVPN plug-in here: ", "install the package network-manager-openvpn");
    else
        say(self, "NetworkManager refused the connection: ", name);
}

static void say_what_is_left_out(engine* self) {
    const engine_parameters* parameters = self->session.parameters;
    if (*parameters->organization != '\0' || *parameters->session_id != '\0')
        say(self, "not sent to the server, for which NetworkManager has no way: ", "organisation and session id");
}

// False and one line without it.
static bool find_daemon(engine* self, const engine_parameters* parameters, engine_wishes* wishes) {
    int result = nm_session_open(&self->session, parameters, wishes);
    if (result < 0)
        say(self, "the system bus cannot be reached: ", strerror(-result));
    else if (!has_daemon(self))
        say(self, "NetworkManager does not run here", "");
    return result >= 0 && has_daemon(self);
}

// Makes the first request. False and one line if there can be no tunnel this way.
static bool prepare(engine* self, const engine_parameters* parameters, engine_wishes* wishes) {
    nm_session* session = &self->session;
    if (!find_daemon(self, parameters, wishes))
        return false;
    int result = nm_session_has_base(session);
    if (result == 0) {
        say(self, "NetworkManager has no active connection with a default route for a tunnel to rest on", "");
        return false;
    }
    if (result > 0)
        result = nm_agent_open(&session->agent, &session->bus, parameters);
    if (result >= 0)
        result = nm_session_activate(session);
    if (result < 0)
        say_refused(self, result);
    return result >= 0;
}

// Waits for what was deactivated, within bounds: its routes are gone then.
static void take_down(engine* self) {
    const int64_t until = nm_bus_now() + kTakeDownMs;
    nm_session_deactivate(&self->session, NULL);
    while (nm_session_furthest(&self->session) != NULL && nm_bus_now() < until) {
        if (nm_bus_step(&self->session.bus, until - nm_bus_now(), -1) < 0)
            return;
    }
}

static void report_lost(engine* self, int64_t now) {
    if (self->established)
        report(self, NEBRIX_STATUS_RECONNECTING);
    if (self->give_up_ms == 0)
        self->give_up_ms = now + kGiveUpMs;
}

static void report_connected(engine* self, const vpn_attempt* attempt) {
    char status[kAddressSize + sizeof NEBRIX_STATUS_CONNECTED_IP];
    nm_session* session = &self->session;
    // What is known stays where it cannot be read again.
    if (!self->read || session->addresses_changed)
        (void)nm_session_read_address(session, attempt);
    if (session->bus.stopping || attempt->state != kVpnActivated)
        return;
    self->read = true;
    self->established = true;
    self->give_up_ms = 0;
    snprintf(status, sizeof status, "%s%s",
             session->address[0] == '\0' ? NEBRIX_STATUS_CONNECTED : NEBRIX_STATUS_CONNECTED_IP, session->address);
    report(self, status);
}

// Whether packets get through an activated tunnel, as far as that can be told.
static bool is_good(const engine* self) {
    const liveness* far_end = &self->session.far_end;
    return far_end->descriptor >= 0 && far_end->answered ? liveness_good(far_end) : self->has_base;
}

// Tells the states that were passed on the way, also when they came at once.
static void report_passed(engine* self, int64_t now) {
    static const struct {
        unsigned states;
        const char* status;
    } kStages[] = {{1U << kVpnNeedAuth | 1U << kVpnConnect, NEBRIX_STATUS_AUTHENTICATING},
                   {1U << kVpnConfigGet, NEBRIX_STATUS_GETCONFIG}};
    const unsigned passed = self->session.passed;
    self->session.passed = 0;
    for (size_t i = 0; i < sizeof kStages / sizeof kStages[0]; i++) {
        if ((passed & kStages[i].states) == 0)
            continue;
        if (self->established)
            report_lost(self, now);
        else if (i >= self->stage)
            report(self, kStages[i].status);
        self->stage = i > self->stage ? i : self->stage;
    }
}

static void build_again(engine* self, int64_t now) {
    nm_session* session = &self->session;
    if (!has_daemon(self) || now < self->try_again_ms)
        return;
    self->read = false;
    session->address[0] = '\0';
    liveness_close(&session->far_end);
    int result = session->daemon_returned ? nm_agent_register(&session->agent, &session->bus) : 0;
    if (result >= 0) {
        session->daemon_returned = false;
        result = nm_session_activate(session);
    }
    if (result < 0) {
        nm_session_deactivate(session, NULL);
        nm_session_forget(session);
        session->news = true;
        self->try_again_ms = nm_bus_now() + kTryAgainMs;
    }
}

// No attempt is left: either that is the end, or the tunnel is built again.
static void on_ended(engine* self, int64_t now) {
    const unsigned reason = self->session.last_reason;
    if (self->session.agent.refused || reason == kReasonNoSecrets || reason == kReasonLoginFailed)
        finish(self, kCloseNotAuthenticated, "tunnel not built: ", reason_words(reason));
    else if (self->session.ended_by_user)
        finish(self, kCloseCannotRun, "tunnel ended from NetworkManager's side", "");
    else if (!self->established && reason == kReasonConnectTimeout && nm_session_next_names(&self->session))
        build_again(self, now);
    else if (!self->established && has_daemon(self) && !self->session.daemon_returned && self->give_up_ms == 0)
        finish(self, kCloseCannotRun, "tunnel not built: ", reason_words(reason));
    else {
        if (self->give_up_ms == 0)
            say(self, "tunnel lost: ", has_daemon(self) ? reason_words(reason) : "NetworkManager is gone");
        report_lost(self, now);
        build_again(self, now);
    }
}

static void reconnect(engine* self) {
    self->session.bus.reconnect = false;
    report_lost(self, nm_bus_now());
    take_down(self);
    nm_session_forget(&self->session);
    self->session.ended_by_user = false;
    self->try_again_ms = 0;
}

static void look_at_base(engine* self) {
    if (!self->session.base_changed || !has_daemon(self))
        return;
    int result = nm_session_has_base(&self->session);
    self->has_base = result != 0;
    // Without one the far end has to prove itself soon.
    if (result == 0 && self->session.far_end.silent < kLivenessLost)
        self->session.far_end.silent = kLivenessLost;
}

static void act(engine* self) {
    const int64_t now = nm_bus_now();
    liveness_step(&self->session.far_end, now);
    if (self->session.bus.reconnect)
        reconnect(self);
    look_at_base(self);
    report_passed(self, now);
    vpn_attempt* attempt = nm_session_furthest(&self->session);
    if (attempt == NULL) {
        on_ended(self, now);
    } else {
        if (attempt->state >= kVpnConfigGet)
            nm_session_deactivate(&self->session, attempt);
        if (attempt->state == kVpnActivated && (!self->read || is_good(self)))
            report_connected(self, attempt);
        else if (self->established)
            report_lost(self, now);
    }
    if (!self->over && self->give_up_ms != 0 && now >= self->give_up_ms)
        finish(self, kCloseCannotRun, "tunnel given up: none for two minutes", "");
}

// Until when there is nothing to do but wait for news.
static int64_t next_ms(const engine* self, int64_t now) {
    int64_t at = now + kStepMs;
    if (self->give_up_ms != 0 && self->give_up_ms < at)
        at = self->give_up_ms;
    if (self->give_up_ms != 0 && self->try_again_ms > now && self->try_again_ms < at)
        at = self->try_again_ms;
    if (self->session.far_end.descriptor >= 0 && self->session.far_end.next_ms < at)
        at = self->session.far_end.next_ms;
    return at;
}

static void keep(engine* self) {
    nm_session* session = &self->session;
    while (!session->bus.stopping && !self->over) {
        session->news = false;
        act(self);
        // While that waited for answers, signals may have come.
        const int64_t now = nm_bus_now();
        const int64_t wait_ms = session->news || session->bus.reconnect ? 0 : next_ms(self, now) - now;
        if (!session->bus.stopping && !self->over &&
            nm_bus_step(&session->bus, wait_ms, session->far_end.descriptor) < 0)
            finish(self, kCloseCannotRun, "tunnel lost: the system bus is gone", "");
    }
}

static engine_result run(const engine_parameters* parameters, const engine_listener* listener, engine_wishes* wishes) {
    engine self = {.listener = listener, .has_base = true};
    const bool begun = prepare(&self, parameters, wishes);
    const bool stopped = self.session.bus.stopping;
    if (begun) {
        say_what_is_left_out(&self);
        report(&self, NEBRIX_STATUS_INIT);
        keep(&self);
    }
    if (self.session.bus.bus != NULL)
        take_down(&self);
    nm_session_close(&self.session);
    return begun || stopped ? kEngineEnded : kEngineUnavailable;
}

const engine_type nebrix_engine_networkmanager = {
    .name = "networkmanager",
    .needs = "NetworkManager with an active connection and the package network-manager-openvpn",
    .uses_files = true,
    .run = run,
};
