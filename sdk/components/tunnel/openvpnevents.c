// SPDX-License-Identifier: MIT
#define _DEFAULT_SOURCE
#include "openvpnevents.h"

#include <arpa/inet.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>

#include "nebrix_component.h"

enum { kStageNone, kStageInit, kStageAuthenticating, kStageGetConfig };
enum { kPendingLimit = 300 };

static void say(const openvpn_session* self, const char* text, const char* value) {
    self->listener->log(self->listener->context, text, value);
}

static void report(const openvpn_session* self, const char* status) {
    self->listener->report(self->listener->context, status);
}

void openvpn_send(openvpn_session* self, const char* command, size_t size) {
    if (send(self->management, command, size, MSG_NOSIGNAL | MSG_DONTWAIT) == (ssize_t)size)
        return;
    say(self, "openvpn does not read its management interface", "");
    self->end = kSessionBroken;
}

// ---- States

// On the way to the first connection; afterwards all ways are "reconnecting".
static void advance(openvpn_session* self, int stage, const char* status) {
    if (self->was_connected || stage <= self->stage)
        return;
    self->stage = stage;
    report(self, status);
}

static bool is_address(int family, const char* text) {
    unsigned char address[sizeof(struct in6_addr)];
    return inet_pton(family, text, address) == 1;
}

static void on_connected(openvpn_session* self, const management_event* event) {
    char status[sizeof NEBRIX_STATUS_CONNECTED_IP + INET6_ADDRSTRLEN] = NEBRIX_STATUS_CONNECTED;
    if (is_address(AF_INET, event->address))
        snprintf(status, sizeof status, NEBRIX_STATUS_CONNECTED_IP "%s", event->address);
    else if (is_address(AF_INET6, event->address6))
        snprintf(status, sizeof status, NEBRIX_STATUS_CONNECTED_IP "%s", event->address6);
    if (strcmp(event->text, "SUCCESS") != 0)
        openvpn_log_foreign(self, "connected, but not all of it could be set up: ", event->text);
    self->was_connected = true;
    self->connected = true;
    self->name_fits = true;
    self->silence_limit = 0;
    self->deadline = 0;
    report(self, status);
}

void openvpn_lose_connection(openvpn_session* self) {
    if (self->connected)
        self->deadline = openvpn_session_now() + kSessionReconnectLimit;
    self->connected = false;
    if (self->was_connected)
        report(self, NEBRIX_STATUS_RECONNECTING);
}

static void on_reconnecting(openvpn_session* self, const management_event* event) {
    openvpn_log_foreign(self, "openvpn starts over: ", event->text);
    if (self->silence_limit != 0) {
        self->end = kSessionSilence;
        return;
    }
    self->refused = false;
    self->stage = kStageNone;
    openvpn_lose_connection(self);
}

// The server waits for its user to do something elsewhere: "timeout SECONDS".
static void on_pending(openvpn_session* self, const management_event* event) {
    unsigned long seconds = strncmp(event->text, "timeout ", 8) == 0 ? strtoul(event->text + 8, NULL, 10) : 0;
    int64_t until = openvpn_session_now() + (int64_t)(seconds < kPendingLimit ? seconds : kPendingLimit) * 1000;
    if (self->deadline != 0 && self->deadline < until)
        self->deadline = until;
    say(self, "the server waits for a further confirmation by its user", "");
}

static void on_state(openvpn_session* self, const management_event* event) {
    static const struct {
        const char* name;
        int stage;
        const char* status;
    } kStages[] = {{"CONNECTING", kStageInit, NEBRIX_STATUS_INIT},
                   {"RESOLVE", kStageInit, NEBRIX_STATUS_INIT},
                   {"TCP_CONNECT", kStageInit, NEBRIX_STATUS_INIT},
                   {"WAIT", kStageInit, NEBRIX_STATUS_INIT},
                   {"AUTH", kStageAuthenticating, NEBRIX_STATUS_AUTHENTICATING},
                   {"GET_CONFIG", kStageGetConfig, NEBRIX_STATUS_GETCONFIG},
                   {"ASSIGN_IP", kStageGetConfig, NEBRIX_STATUS_GETCONFIG}};
    for (size_t i = 0; i < sizeof kStages / sizeof *kStages; i++) {
        if (strcmp(event->name, kStages[i].name) == 0)
            advance(self, kStages[i].stage, kStages[i].status);
    }
    if (strcmp(event->name, "CONNECTED") == 0)
        on_connected(self, event);
    else if (strcmp(event->name, "RECONNECTING") == 0)
        on_reconnecting(self, event);
    else if (strcmp(event->name, "AUTH_PENDING") == 0)
        on_pending(self, event);
    else if (strcmp(event->name, "EXITING") == 0 && !self->refused)
        openvpn_break_off(self, "openvpn ends: ", event->text);
    else if (strcmp(event->name, "EXITING") == 0)
        self->end = kSessionRefused;
}

// ---- Secrets

static void answer(openvpn_session* self, const char* verb, const char* kind, const char* value) {
    char command[kManagementAnswerSize];
    size_t size = management_answer(command, verb, kind, value);
    openvpn_send(self, command, size);
    explicit_bzero(command, sizeof command);
}

static void on_need(openvpn_session* self, const management_event* event) {
    const engine_parameters* all = self->parameters;
    if (strcmp(event->name, "Auth") == 0 && self->command.asks_login) {
        answer(self, "username", "Auth", all->login);
        answer(self, "password", "Auth", all->ticket);
    } else if (strcmp(event->name, "Private Key") == 0 && all->cert_kind != kCertificateNone) {
        answer(self, "password", "Private Key", all->cert_password);
    } else if (strcmp(event->name, "HTTP Proxy") == 0 && all->proxy != NULL && *all->proxy->login != '\0') {
        answer(self, "username", "HTTP Proxy", all->proxy->login);
        answer(self, "password", "HTTP Proxy", all->proxy->password);
    } else if (strcmp(event->name, "HTTP Proxy") == 0 && all->proxy != NULL) {
        openvpn_break_off(self, "the proxy asks for a login and a password, and there are none", "");
    } else {
        openvpn_break_off(self, "openvpn asks for what it is not given: ", event->name);
    }
}

static void on_refused(openvpn_session* self, const management_event* event) {
    if (strcmp(event->name, "HTTP Proxy") == 0) {
        openvpn_break_off(self, "the proxy refuses its login and password", "");
        return;
    }
    // A challenge's text is for the one who is asked, and says nothing here.
    const char* why = strstr(event->text, "CRV1:") == NULL ? event->text : "";
    openvpn_log_foreign(self, "the server refuses login and ticket ", why);
    self->refused = true;
}

// ---- Name servers

static void log_name_servers(openvpn_session* self, const char* text, char* servers) {
    for (char* end = strchr(servers, '\n'); end != NULL; end = strchr(end, '\n'))
        *end = ';';
    openvpn_log_foreign(self, text, servers);
}

static void withdraw(openvpn_session* self) {
    const char* resolvconf = self->machine->resolvconf;
    if (resolvconf != NULL && name_servers_withdraw(&self->offered, resolvconf, engine_wishes_descriptor(self->wishes)))
        keeper_set_record(&self->keeper, "");
}

static void apply(openvpn_session* self) {
    char text[kNameServerTextSize];
    char record[kKeeperRecordSize];
    openvpn_log_foreign(self, "interface: ", self->offered.device);
    name_servers_text(&self->offered, text);
    if (*text == '\0' || !name_servers_record(&self->offered, record))
        return;
    if (self->machine->resolvconf == NULL) {
        log_name_servers(self, "not set, for want of the package systemd-resolved or resolvconf: ", text);
        return;
    }
    keeper_set_record(&self->keeper, record);
    int stop = engine_wishes_descriptor(self->wishes);
    bool set = name_servers_apply(&self->offered, self->machine->resolvconf, stop);
    log_name_servers(self, set ? "set with resolvconf: " : "resolvconf could not set: ", text);
}

static void on_environment(openvpn_session* self, const management_event* event) {
    if (strcmp(event->name, "END") != 0)
        name_servers_note(&self->offered, event->name, event->text);
    else if (self->interface_up)
        apply(self);
    else
        withdraw(self);
}

void openvpn_event(openvpn_session* self, const management_event* event) {
    switch (event->kind) {
        case kManagementState:
            on_state(self, event);
            break;
        case kManagementLog:
            openvpn_log_event(self, event);
            break;
        case kManagementFatal:
            openvpn_fatal_event(self, event);
            break;
        case kManagementNeed:
            on_need(self, event);
            break;
        case kManagementRefused:
            on_refused(self, event);
            break;
        case kManagementUp:
        case kManagementDown:
            self->interface_up = event->kind == kManagementUp;
            name_servers_clear(&self->offered);
            break;
        case kManagementEnvironment:
            on_environment(self, event);
            break;
        case kManagementBad:
            openvpn_break_off(self, "openvpn's management interface says what cannot be read", "");
            break;
        case kManagementOther:
            break;
    }
}
