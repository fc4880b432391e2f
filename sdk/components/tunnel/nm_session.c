// SPDX-License-Identifier: MIT
#define _POSIX_C_SOURCE 200809L
#include "nm_session.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>

#include "nm_profile.h"

#define NM_IP4 NM_NAME ".IP4Config"
#define NM_IP6 NM_NAME ".IP6Config"

static vpn_attempt* find(nm_session* self, const char* path) {
    for (size_t i = 0; path != NULL && i < kMaximalNames; i++) {
        if (self->attempts[i].path[0] != '\0' && strcmp(self->attempts[i].path, path) == 0)
            return &self->attempts[i];
    }
    return NULL;
}

static void set_state(nm_session* self, vpn_attempt* attempt, uint32_t state, uint32_t reason) {
    if (state > kVpnDisconnected)
        return;
    attempt->state = state;
    self->passed |= 1U << state;
    self->news = true;
    if (state != kVpnFailed && state != kVpnDisconnected)
        return;
    attempt->path[0] = '\0';
    self->last_reason = reason;
    self->ended_by_user = self->ended_by_user || reason == kReasonUserDisconnected;
}

static int on_vpn_state(sd_bus_message* signal, void* context, sd_bus_error* error) {
    (void)error;
    nm_session* self = context;
    uint32_t state = 0;
    uint32_t reason = 0;
    vpn_attempt* attempt = find(self, sd_bus_message_get_path(signal));
    if (attempt != NULL && sd_bus_message_read(signal, "uu", &state, &reason) >= 0)
        set_state(self, attempt, state, reason);
    return 0;
}

static int on_owner(sd_bus_message* signal, void* context, sd_bus_error* error) {
    (void)error;
    nm_session* self = context;
    const char* name = NULL;
    const char* owner = NULL;
    if (sd_bus_message_read(signal, "sss", &name, NULL, &owner) < 0 || strcmp(name, NM_NAME) != 0)
        return 0;
    // Its connections went with it, and another one may give the same paths to others.
    nm_session_forget(self);
    nm_bus_set_daemon(&self->bus, owner);
    self->last_reason = 0;
    self->news = true;
    self->daemon_returned = *owner != '\0';
    return 0;
}

static int on_properties(sd_bus_message* signal, void* context, sd_bus_error* error) {
    (void)error;
    nm_session* self = context;
    const char* path = sd_bus_message_get_path(signal);
    if (path == NULL)
        return 0;
    if (strcmp(path, NM_PATH) == 0)
        self->base_changed = self->news = true;
    else if (find(self, path) != NULL || strcmp(path, self->configs[0]) == 0 || strcmp(path, self->configs[1]) == 0)
        self->addresses_changed = self->news = true;
    return 0;
}

static int listen_to(nm_session* self) {
    static const char* const kInterfaces[] = {NM_NAME, NM_ACTIVE, NM_IP4, NM_IP6};
    int result = sd_bus_match_signal_async(self->bus.bus, NULL, NM_NAME, NULL, NM_VPN, "VpnStateChanged", on_vpn_state,
                                           NULL, self);
    for (size_t i = 0; result >= 0 && i < sizeof kInterfaces / sizeof kInterfaces[0]; i++) {
        char rule[256];
        snprintf(rule, sizeof rule,
                 "type='signal',sender='" NM_NAME
                 "',interface='org.freedesktop.DBus.Properties',"
                 "member='PropertiesChanged',arg0='%s'",
                 kInterfaces[i]);
        result = sd_bus_add_match_async(self->bus.bus, NULL, rule, on_properties, NULL, self);
    }
    if (result >= 0)
        result = sd_bus_add_match_async(self->bus.bus, NULL,
                                        "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',"
                                        "interface='org.freedesktop.DBus',arg0='" NM_NAME "'",
                                        on_owner, NULL, self);
    return result;
}

int nm_session_open(nm_session* self, const engine_parameters* parameters, engine_wishes* wishes) {
    memset(self, 0, sizeof *self);
    self->parameters = parameters;
    self->far_end.descriptor = -1;
    int result = nm_bus_open(&self->bus, wishes);
    if (result >= 0)
        result = listen_to(self);
    if (result >= 0)
        result = nm_bus_find_daemon(&self->bus);
    return result;
}

void nm_session_close(nm_session* self) {
    liveness_close(&self->far_end);
    nm_agent_close(&self->agent);
    nm_bus_close(&self->bus);
}

int nm_session_has_base(nm_session* self) {
    char path[kBusPathSize];
    self->base_changed = false;
    int result = nm_bus_object_property(&self->bus, NM_PATH, NM_NAME, "PrimaryConnection", path);
    return result < 0 ? result : strcmp(path, NM_NO_OBJECT) != 0;
}

static sd_bus_message* new_activation(nm_session* self, const char* name) {
    char uuid[kUuidSize];
    sd_bus_message* call = nm_bus_method(&self->bus, NM_PATH, NM_NAME, "AddAndActivateConnection2");
    if (call == NULL)
        return NULL;
    nm_agent_make_uuid(&self->agent, uuid);
    // Both options together have the tunnel end with this connection to the bus, however that ends.
    if (nm_profile_append(call, self->parameters, uuid, name) >= 0 &&
        sd_bus_message_append(call, "ooa{sv}", NM_NO_OBJECT, NM_NO_OBJECT, 2, "persist", "s", "volatile",
                              "bind-activation", "s", "dbus-client") >= 0)
        return call;
    sd_bus_message_unref(call);
    return NULL;
}

// What the signals told before the path was known.
static void read_state(nm_session* self, vpn_attempt* attempt) {
    uint32_t state = kVpnUnknown;
    char path[kBusPathSize];
    memcpy(path, attempt->path, sizeof path);
    attempt->state = kVpnPrepare;
    int result = nm_bus_number_property(&self->bus, path, NM_VPN, "VpnState", &state);
    if (attempt->path[0] == '\0' || self->bus.stopping)
        return;
    set_state(self, attempt, result < 0 ? (uint32_t)kVpnFailed : state, 0);
}

static int activate_one(nm_session* self, vpn_attempt* attempt, const char* name) {
    sd_bus_message* reply = NULL;
    const char* path = NULL;
    sd_bus_message* call = new_activation(self, name);
    if (call == NULL)
        return -EINVAL;
    int result = nm_bus_call(&self->bus, call, &reply);
    if (result >= 0)
        result = sd_bus_message_read(reply, "oo", NULL, &path);
    if (result >= 0)
        result = snprintf(attempt->path, sizeof attempt->path, "%s", path) < kBusPathSize ? 0 : -E2BIG;
    sd_bus_message_unref(reply);
    if (result < 0)
        attempt->path[0] = '\0';
    else
        read_state(self, attempt);
    return result;
}

// Two attempts with one name would both get through.
static bool named_before(const engine_parameters* parameters, size_t index) {
    for (size_t i = 0; i < index; i++) {
        if (strcmp(parameters->server_names[i], parameters->server_names[index]) == 0)
            return true;
    }
    return false;
}

int nm_session_activate(nm_session* self) {
    const size_t names = self->parameters->server_name_count;
    self->ended_by_user = false;
    self->last_reason = 0;
    self->agent.refused = false;
    int result = names == 0 ? activate_one(self, &self->attempts[0], NULL) : 0;
    for (size_t i = 0; result >= 0 && i < kMaximalNames && self->first_name + i < names; i++) {
        if (!named_before(self->parameters, self->first_name + i))
            result = activate_one(self, &self->attempts[i], self->parameters->server_names[self->first_name + i]);
    }
    return result;
}

bool nm_session_next_names(nm_session* self) {
    if (self->parameters->server_name_count <= self->first_name + kMaximalNames)
        return false;
    self->first_name += kMaximalNames;
    return true;
}

void nm_session_forget(nm_session* self) {
    for (size_t i = 0; i < kMaximalNames; i++)
        self->attempts[i].path[0] = '\0';
}

void nm_session_deactivate(nm_session* self, const vpn_attempt* but) {
    for (size_t i = 0; i < kMaximalNames; i++) {
        vpn_attempt* attempt = &self->attempts[i];
        if (attempt == but || attempt->path[0] == '\0')
            continue;
        sd_bus_message* call = nm_bus_method(&self->bus, NM_PATH, NM_NAME, "DeactivateConnection");
        if (call != NULL && sd_bus_message_append(call, "o", attempt->path) >= 0 &&
            sd_bus_message_set_expect_reply(call, 0) >= 0)
            (void)sd_bus_send(self->bus.bus, call, NULL);
        sd_bus_message_unref(call);
        if (but != NULL)
            attempt->path[0] = '\0';
    }
}

vpn_attempt* nm_session_furthest(nm_session* self) {
    vpn_attempt* furthest = NULL;
    for (size_t i = 0; i < kMaximalNames; i++) {
        vpn_attempt* attempt = &self->attempts[i];
        if (attempt->path[0] != '\0' && (furthest == NULL || attempt->state > furthest->state))
            furthest = attempt;
    }
    return furthest;
}

// The address of one family, and where a route of the tunnel leads.
static int read_family(nm_session* self, const vpn_attempt* attempt, bool v6, char own[kAddressSize],
                       char behind[kAddressSize]) {
    const char* interface = v6 ? NM_IP6 : NM_IP4;
    char* config = self->configs[v6 ? 1 : 0];
    int result = nm_bus_object_property(&self->bus, attempt->path, NM_ACTIVE, v6 ? "Ip6Config" : "Ip4Config", config);
    if (result < 0 || strcmp(config, NM_NO_OBJECT) == 0)
        return result < 0 ? result : -ENODATA;
    result = nm_bus_text_in_list(&self->bus, config, interface, "AddressData", "address", NULL, v6 ? "fe80:" : NULL,
                                 own, kAddressSize);
    if (result < 0)
        return result;
    // Best one that the server sends on, since it may well be silent where it is asked itself.
    if (nm_bus_text_in_list(&self->bus, config, interface, "RouteData", "dest", "next-hop", NULL, behind,
                            kAddressSize) < 0 &&
        nm_bus_text_in_list(&self->bus, config, interface, "RouteData", "dest", NULL, NULL, behind, kAddressSize) < 0)
        behind[0] = '\0';
    return 0;
}

int nm_session_read_address(nm_session* self, const vpn_attempt* attempt) {
    char own[kAddressSize];
    char behind[kAddressSize];
    self->addresses_changed = false;
    int result = read_family(self, attempt, false, own, behind);
    if (result < 0 && !self->bus.stopping)
        result = read_family(self, attempt, true, own, behind);
    if (result < 0 || strcmp(own, self->address) == 0)
        return result;
    memcpy(self->address, own, sizeof self->address);
    liveness_close(&self->far_end);
    (void)liveness_open(&self->far_end, own, behind, nm_bus_now());
    return 0;
}
