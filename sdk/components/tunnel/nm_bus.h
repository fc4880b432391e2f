// SPDX-License-Identifier: MIT
// The engine's own connection to the system bus (sd-bus), polled together with the plug-in's wishes.
//
// Nothing here blocks without a bound: each wait ends with an answer, a lost bus, its time, or the wish to stop. One
// thread. Functions that return int: 0 or more is success, a negative errno value failure.
#ifndef NEBRIX_TUNNEL_NM_BUS_H
#define NEBRIX_TUNNEL_NM_BUS_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <systemd/sd-bus.h>

#include "engine.h"

#define NM_NAME "org.freedesktop.NetworkManager"
#define NM_PATH "/org/freedesktop/NetworkManager"
#define NM_ACTIVE NM_NAME ".Connection.Active"
#define NM_VPN NM_NAME ".VPN.Connection"
#define NM_NO_OBJECT "/"

enum { kBusOwnerSize = 256, kBusPathSize = 256, kBusErrorSize = 128, kBusCallMs = 5000 };

typedef struct {
    sd_bus* bus;
    engine_wishes* wishes;
    char daemon[kBusOwnerSize];  // the unique name of NetworkManager's connection, "" while there is none
    bool stopping;               // kEngineStop was taken; the wishes are not looked at any more
    bool reconnect;              // kEngineReconnect was taken; the engine clears it
    char error[kBusErrorSize];   // name of the last call's error reply, "" without one
} nm_bus;

// Milliseconds of CLOCK_MONOTONIC, for which a suspended machine's time does not count.
int64_t nm_bus_now(void);

int nm_bus_open(nm_bus* self, engine_wishes* wishes);
// Whatever was activated with this connection ends with it.
void nm_bus_close(nm_bus* self);

// Waits until timeout_ms passed, a wish came, more_fd (-1 for none) is readable, or signals or replies were handled.
int nm_bus_step(nm_bus* self, int64_t timeout_ms, int more_fd);

// Sends call, which it releases, and waits for the reply. -ECANCELED once stopping, -ETIMEDOUT after kBusCallMs. An
// error reply leaves its name in self->error. *reply is the caller's.
int nm_bus_call(nm_bus* self, sd_bus_message* call, sd_bus_message** reply);

// A call of a method of NetworkManager; null without memory or with a hostile path.
sd_bus_message* nm_bus_method(nm_bus* self, const char* path, const char* interface, const char* method);

// Finds NetworkManager on the bus and starts none.
int nm_bus_find_daemon(nm_bus* self);
void nm_bus_set_daemon(nm_bus* self, const char* owner);

// A property that is an object path; "/" stands for none.
int nm_bus_object_property(nm_bus* self, const char* path, const char* interface, const char* property,
                           char out[kBusPathSize]);
int nm_bus_number_property(nm_bus* self, const char* path, const char* interface, const char* property, uint32_t* out);

// The text at key in the first dictionary that has it, and beside unless that is null, of a property that is a list of
// dictionaries (aa{sv}); texts that begin with but, unless that is null, are passed over. -ENODATA without one; out is
// unspecified then.
int nm_bus_text_in_list(nm_bus* self, const char* path, const char* interface, const char* property, const char* key,
                        const char* beside, const char* but, char* out, size_t size);

#endif
