// SPDX-License-Identifier: MIT
#define _POSIX_C_SOURCE 200809L
#include "nm_agent.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <systemd/sd-id128.h>

#include "nm_profile.h"

#define AGENT_PATH NM_PATH "/SecretAgent"
#define AGENT_INTERFACE NM_NAME ".SecretAgent"

enum {
    kVpnHints = 1,           // capability: without it NetworkManager takes the user's other agents for less able, too
    kRequestNew = 2,         // flag of GetSecrets: those known are wrong
    kMaximalUuids = 0x10000  // four digits
};

// The text at setting/key of the settings (a{sa{sv}}) that come next, "" without one.
static int read_setting(sd_bus_message* message, const char* setting, const char* key, const char** out) {
    *out = "";
    int result = sd_bus_message_enter_container(message, 'a', "{sa{sv}}");
    while (result >= 0 && (result = sd_bus_message_enter_container(message, 'e', "sa{sv}")) > 0) {
        const char* name = NULL;
        if ((result = sd_bus_message_read(message, "s", &name)) < 0 ||
            (result = sd_bus_message_enter_container(message, 'a', "{sv}")) < 0)
            break;
        const bool wanted = strcmp(name, setting) == 0;
        while ((result = sd_bus_message_enter_container(message, 'e', "sv")) > 0) {
            if ((result = sd_bus_message_read(message, "s", &name)) < 0)
                break;
            if (wanted && strcmp(name, key) == 0 && sd_bus_message_verify_type(message, 'v', "s") > 0)
                result = sd_bus_message_read(message, "v", "s", out);
            else
                result = sd_bus_message_skip(message, "v");
            if (result < 0 || (result = sd_bus_message_exit_container(message)) < 0)
                break;
        }
        if (result < 0 || (result = sd_bus_message_exit_container(message)) < 0 ||
            (result = sd_bus_message_exit_container(message)) < 0)
            break;
    }
    return result < 0 ? result : sd_bus_message_exit_container(message);
}

// The list of texts that comes next: whether it has any.
static int skip_hints(sd_bus_message* call, bool* any) {
    const char* hint = NULL;
    int result = sd_bus_message_enter_container(call, 'a', "s");
    while (result >= 0 && (result = sd_bus_message_read(call, "s", &hint)) > 0)
        *any = true;
    return result < 0 ? result : sd_bus_message_exit_container(call);
}

static int answer_secrets(nm_agent* self, sd_bus_message* call) {
    sd_bus_message* reply = NULL;
    int result = sd_bus_message_new_method_return(call, &reply);
    if (result >= 0)
        result = nm_profile_append_secrets(reply, self->parameters);
    if (result >= 0)
        result = sd_bus_send(NULL, reply, NULL);
    sd_bus_message_unref(reply);
    return result;
}

static int on_get_secrets(sd_bus_message* call, void* context, sd_bus_error* error) {
    nm_agent* self = context;
    const char* uuid = NULL;
    const char* setting = NULL;
    uint32_t flags = 0;
    bool hinted = false;
    int result = read_setting(call, "connection", "uuid", &uuid);
    if (result >= 0)
        result = sd_bus_message_read(call, "os", NULL, &setting);
    if (result >= 0)
        result = skip_hints(call, &hinted);
    if (result < 0 || (result = sd_bus_message_read(call, "u", &flags)) < 0)
        return result;
    const char* sender = sd_bus_message_get_sender(call);
    if (sender == NULL || strcmp(sender, self->bus->daemon) != 0)
        return sd_bus_error_set(error, AGENT_INTERFACE ".NotAuthorized", "not NetworkManager");
    if (strncmp(uuid, self->family, kUuidFamilySize - 1) != 0 || strcmp(setting, "vpn") != 0)
        return sd_bus_error_set(error, AGENT_INTERFACE ".NoSecrets", "none for this connection");
    if (hinted || (flags & kRequestNew) != 0) {
        self->refused = true;
        return sd_bus_error_set(error, AGENT_INTERFACE ".UserCanceled", "there are no others");
    }
    return answer_secrets(self, call);
}

// NetworkManager gives secrets to keep, which have come from here, or to forget.
static int on_nothing_to_do(sd_bus_message* call, void* context, sd_bus_error* error) {
    (void)context;
    (void)error;
    return sd_bus_reply_method_return(call, "");
}

static const sd_bus_vtable kAgent[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("GetSecrets", "a{sa{sv}}osasu", "a{sa{sv}}", on_get_secrets, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("CancelGetSecrets", "os", "", on_nothing_to_do, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("SaveSecrets", "a{sa{sv}}o", "", on_nothing_to_do, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("DeleteSecrets", "a{sa{sv}}o", "", on_nothing_to_do, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END};

int nm_agent_open(nm_agent* self, nm_bus* bus, const engine_parameters* parameters) {
    sd_id128_t random;
    char uuid[SD_ID128_UUID_STRING_MAX];
    memset(self, 0, sizeof *self);
    self->parameters = parameters;
    self->bus = bus;
    int result = sd_id128_randomize(&random);
    if (result < 0)
        return result;
    snprintf(self->family, sizeof self->family, "%.*s", kUuidFamilySize - 1, sd_id128_to_uuid_string(random, uuid));
    result = sd_bus_add_object_vtable(bus->bus, &self->slot, AGENT_PATH, AGENT_INTERFACE, kAgent, self);
    return result < 0 ? result : nm_agent_register(self, bus);
}

int nm_agent_register(const nm_agent* self, nm_bus* bus) {
    char identifier[kUuidFamilySize + sizeof "nebrix."];
    sd_bus_message* reply = NULL;
    // One user may have several sessions, and each agent needs a name of its own.
    snprintf(identifier, sizeof identifier, "nebrix.%s", self->family);
    sd_bus_message* call =
        nm_bus_method(bus, NM_PATH "/AgentManager", NM_NAME ".AgentManager", "RegisterWithCapabilities");
    if (call == NULL || sd_bus_message_append(call, "su", identifier, (uint32_t)kVpnHints) < 0) {
        sd_bus_message_unref(call);
        return -ENOMEM;
    }
    int result = nm_bus_call(bus, call, &reply);
    sd_bus_message_unref(reply);
    return result;
}

void nm_agent_close(nm_agent* self) {
    sd_bus_slot_unref(self->slot);
    self->slot = NULL;
}

void nm_agent_make_uuid(nm_agent* self, char out[kUuidSize]) {
    snprintf(out, kUuidSize, "%s%04x", self->family, self->count++ % kMaximalUuids);
}
