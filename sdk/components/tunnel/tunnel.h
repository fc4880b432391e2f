// SPDX-License-Identifier: MIT
// One tunnel: the thread that an engine runs on, the choice of the engine, and the way of its news to status and log.
//
// The environment variable NEBRIX_TUNNEL_ENGINE limits the choice to the engine of that name.
#ifndef NEBRIX_TUNNEL_TUNNEL_H
#define NEBRIX_TUNNEL_TUNNEL_H

#include <stdbool.h>

#include "common/log.h"
#include "engine.h"
#include "status.h"

typedef struct tunnel tunnel;

// Null without memory or a descriptor. Lives to the end of the process, as status and log must. Create, start, stop and
// reconnect are called by one thread at a time.
tunnel* tunnel_create(tunnel_status* status, nebrix_log* log);

// Copies the parameters and returns at once; all else happens on a thread of its own, with all signals blocked.
// Whatever comes of it is told by the status. The two kinds of certificate are found out there and need not be set.
// False if it was started already, or without memory or a thread.
bool tunnel_start(tunnel* self, const engine_parameters* parameters);

// Cuts everything short, at any state, and returns once no report will follow. Does nothing when not started.
void tunnel_stop(tunnel* self);

// Has an established tunnel dropped and built again. False unless it is established.
bool tunnel_reconnect(tunnel* self);

#endif
