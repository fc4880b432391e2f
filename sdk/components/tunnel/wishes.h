// SPDX-License-Identifier: MIT
// The plug-in's side of engine_wishes (engine.h): wishes put in by one thread, taken by the engine's.
#ifndef NEBRIX_TUNNEL_WISHES_H
#define NEBRIX_TUNNEL_WISHES_H

#include <pthread.h>
#include <stdbool.h>

#include "engine.h"

struct engine_wishes {
    int descriptor;         // eventfd(2); constant after the initialisation
    pthread_mutex_t mutex;  // guards the rest, and that the descriptor tells the same
    bool stop;
    bool reconnect;
};

// False without a descriptor. Lives to the end of the process.
bool engine_wishes_init(engine_wishes* self);

// Forgets all wishes; no engine runs.
void engine_wishes_reset(engine_wishes* self);

// Any thread.
void engine_wishes_put(engine_wishes* self, engine_wish wish);

#endif
