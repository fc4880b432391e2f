// SPDX-License-Identifier: MIT
// A secret agent of NetworkManager's (its interface org.freedesktop.NetworkManager.SecretAgent) for the connections of
// one engine.
//
// It gives ticket and passwords when they are first asked for, and says "canceled" when they are asked for again with
// the user to be bothered, which is how a wrong ticket shows. NetworkManager asks the agent of the process that wants
// the connection before any other, so no desktop opens a window, and no secret is written to a file. It knows nothing
// of other connections and says so, and answers nobody but NetworkManager.
#ifndef NEBRIX_TUNNEL_NM_AGENT_H
#define NEBRIX_TUNNEL_NM_AGENT_H

#include <stdbool.h>

#include "nm_bus.h"

enum {
    kUuidSize = 37,       // with the NUL
    kUuidFamilySize = 33  // the same of all but the last four digits
};

typedef struct {
    const engine_parameters* parameters;
    const nm_bus* bus;
    char family[kUuidFamilySize];  // what the identifiers of the engine's connections begin with; random
    unsigned count;                // of the identifiers that were made
    bool refused;                  // secrets were asked for again: those given were not accepted. The engine clears it
    sd_bus_slot* slot;
} nm_agent;

// Puts the agent on the bus and registers it with NetworkManager, once more after that was restarted.
int nm_agent_open(nm_agent* self, nm_bus* bus, const engine_parameters* parameters);
int nm_agent_register(const nm_agent* self, nm_bus* bus);
void nm_agent_close(nm_agent* self);

// The next identifier for a connection (RFC 4122).
void nm_agent_make_uuid(nm_agent* self, char out[kUuidSize]);

#endif
