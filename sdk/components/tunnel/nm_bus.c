// SPDX-License-Identifier: MIT
#define _POSIX_C_SOURCE 200809L
#include "nm_bus.h"

#include <errno.h>
#include <poll.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

int64_t nm_bus_now(void) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (int64_t)now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

int nm_bus_open(nm_bus* self, engine_wishes* wishes) {
    memset(self, 0, sizeof *self);
    self->wishes = wishes;
    return sd_bus_open_system(&self->bus);
}

void nm_bus_close(nm_bus* self) {
    if (self->bus != NULL)
        sd_bus_close_unref(self->bus);
    self->bus = NULL;
}

static void take_wishes(nm_bus* self) {
    for (;;) {
        switch (engine_wishes_take(self->wishes)) {
            case kEngineStop:
                self->stopping = true;
                return;
            case kEngineReconnect:
                self->reconnect = true;
                break;
            case kEngineNothing:
                return;
        }
    }
}

// How long poll(2) may wait: until the bus has something to do by itself, or the caller's time.
static int poll_ms(nm_bus* self, int64_t timeout_ms) {
    uint64_t at_us = UINT64_MAX;
    if (sd_bus_get_timeout(self->bus, &at_us) < 0 || at_us == UINT64_MAX)
        return (int)timeout_ms;
    int64_t bus_ms = (int64_t)(at_us / 1000) + 1 - nm_bus_now();
    if (bus_ms < 0)
        bus_ms = 0;
    return (int)(bus_ms < timeout_ms ? bus_ms : timeout_ms);
}

int nm_bus_step(nm_bus* self, int64_t timeout_ms, int more_fd) {
    int handled = sd_bus_process(self->bus, NULL);
    if (handled != 0)
        return handled;
    int events = sd_bus_get_events(self->bus);
    if (events < 0)
        return events;
    struct pollfd watched[] = {{sd_bus_get_fd(self->bus), (short)events, 0},
                               {self->stopping ? -1 : engine_wishes_descriptor(self->wishes), POLLIN, 0},
                               {more_fd, POLLIN, 0}};
    if (poll(watched, sizeof watched / sizeof watched[0], poll_ms(self, timeout_ms < 0 ? 0 : timeout_ms)) < 0)
        return errno == EINTR ? 0 : -errno;
    if (watched[1].revents != 0)
        take_wishes(self);
    return 0;
}

// Where the answer of one call is kept until the caller comes by.
typedef struct {
    sd_bus_message* reply;
} call_slot;

static int on_reply(sd_bus_message* reply, void* context, sd_bus_error* error) {
    (void)error;
    ((call_slot*)context)->reply = sd_bus_message_ref(reply);
    return 0;
}

// An error reply becomes its errno value, its name is kept.
static int look_at(nm_bus* self, sd_bus_message** reply) {
    const sd_bus_error* error = sd_bus_message_get_error(*reply);
    if (error == NULL)
        return 0;
    int result = -sd_bus_message_get_errno(*reply);
    snprintf(self->error, sizeof self->error, "%s", error->name == NULL ? "" : error->name);
    *reply = sd_bus_message_unref(*reply);
    return result < 0 ? result : -EIO;
}

int nm_bus_call(nm_bus* self, sd_bus_message* call, sd_bus_message** reply) {
    call_slot answer = {NULL};
    sd_bus_slot* slot = NULL;
    *reply = NULL;
    self->error[0] = '\0';
    if (call == NULL)
        return -ENOMEM;
    const int64_t until = nm_bus_now() + kBusCallMs;
    int result = sd_bus_call_async(self->bus, &slot, call, on_reply, &answer, kBusCallMs * (uint64_t)1000);
    sd_bus_message_unref(call);
    while (result >= 0 && answer.reply == NULL) {
        if (self->stopping)
            result = -ECANCELED;
        else if (nm_bus_now() > until)
            result = -ETIMEDOUT;
        else
            result = nm_bus_step(self, until - nm_bus_now() + 1, -1);
    }
    sd_bus_slot_unref(slot);
    *reply = answer.reply;
    return answer.reply == NULL ? result : look_at(self, reply);
}

sd_bus_message* nm_bus_method(nm_bus* self, const char* path, const char* interface, const char* method) {
    sd_bus_message* call = NULL;
    return sd_bus_message_new_method_call(self->bus, &call, NM_NAME, path, interface, method) < 0 ? NULL : call;
}

void nm_bus_set_daemon(nm_bus* self, const char* owner) { snprintf(self->daemon, sizeof self->daemon, "%s", owner); }

int nm_bus_find_daemon(nm_bus* self) {
    sd_bus_message* call = NULL;
    sd_bus_message* reply = NULL;
    const char* owner = "";
    int result = sd_bus_message_new_method_call(self->bus, &call, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                "org.freedesktop.DBus", "GetNameOwner");
    if (result >= 0)
        result = sd_bus_message_append(call, "s", NM_NAME);
    if (result < 0) {
        sd_bus_message_unref(call);
        return result;
    }
    result = nm_bus_call(self, call, &reply);
    if (strcmp(self->error, "org.freedesktop.DBus.Error.NameHasNoOwner") == 0)
        result = 0;
    else if (result >= 0)
        result = sd_bus_message_read(reply, "s", &owner);
    nm_bus_set_daemon(self, owner);
    sd_bus_message_unref(reply);
    return result;
}

// The reply to Properties.Get, ready to read the variant, which must hold contents.
static int get_property(nm_bus* self, const char* path, const char* interface, const char* property,
                        const char* contents, sd_bus_message** reply) {
    *reply = NULL;
    sd_bus_message* call = nm_bus_method(self, path, "org.freedesktop.DBus.Properties", "Get");
    if (call == NULL || sd_bus_message_append(call, "ss", interface, property) < 0) {
        sd_bus_message_unref(call);
        return -ENOMEM;
    }
    int result = nm_bus_call(self, call, reply);
    return result < 0 ? result : sd_bus_message_enter_container(*reply, 'v', contents);
}

int nm_bus_object_property(nm_bus* self, const char* path, const char* interface, const char* property,
                           char out[kBusPathSize]) {
    sd_bus_message* reply = NULL;
    const char* object = NULL;
    int result = get_property(self, path, interface, property, "o", &reply);
    if (result >= 0)
        result = sd_bus_message_read(reply, "o", &object);
    if (result >= 0)
        result = snprintf(out, kBusPathSize, "%s", object) < kBusPathSize ? 0 : -E2BIG;
    sd_bus_message_unref(reply);
    return result;
}

int nm_bus_number_property(nm_bus* self, const char* path, const char* interface, const char* property, uint32_t* out) {
    sd_bus_message* reply = NULL;
    int result = get_property(self, path, interface, property, "u", &reply);
    if (result >= 0)
        result = sd_bus_message_read(reply, "u", out);
    sd_bus_message_unref(reply);
    return result;
}

// In one dictionary (a{sv}) that was entered: 1 if out was set and the dictionary has beside too, else 0.
static int find_text(sd_bus_message* message, const char* key, const char* beside, char* out, size_t size) {
    bool found = false;
    bool accompanied = beside == NULL;
    int result = 0;
    while ((result = sd_bus_message_enter_container(message, 'e', "sv")) > 0) {
        const char* name = NULL;
        const char* text = NULL;
        result = sd_bus_message_read(message, "s", &name);
        if (result >= 0 && strcmp(name, key) == 0 && sd_bus_message_verify_type(message, 'v', "s") > 0)
            result = sd_bus_message_read(message, "v", "s", &text);
        else if (result >= 0)
            result = sd_bus_message_skip(message, "v");
        if (result < 0 || (result = sd_bus_message_exit_container(message)) < 0)
            break;
        accompanied = accompanied || strcmp(name, beside) == 0;
        if (text != NULL)
            found = snprintf(out, size, "%s", text) < (int)size;
    }
    return result < 0 ? result : found && accompanied;
}

int nm_bus_text_in_list(nm_bus* self, const char* path, const char* interface, const char* property, const char* key,
                        const char* beside, const char* but, char* out, size_t size) {
    sd_bus_message* reply = NULL;
    int found = 0;
    int result = get_property(self, path, interface, property, "aa{sv}", &reply);
    if (result >= 0)
        result = sd_bus_message_enter_container(reply, 'a', "a{sv}");
    while (result >= 0 && found == 0 && (result = sd_bus_message_enter_container(reply, 'a', "{sv}")) > 0) {
        result = found = find_text(reply, key, beside, out, size);
        if (found == 1 && but != NULL && strncmp(out, but, strlen(but)) == 0)
            found = 0;
        if (result >= 0)
            result = sd_bus_message_exit_container(reply);
    }
    sd_bus_message_unref(reply);
    if (result < 0)
        return result;
    return found == 1 ? 0 : -ENODATA;
}
