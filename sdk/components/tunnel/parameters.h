// SPDX-License-Identifier: MIT
// A copy of engine_parameters that outlives the plug-in's own strings.
#ifndef NEBRIX_TUNNEL_PARAMETERS_H
#define NEBRIX_TUNNEL_PARAMETERS_H

#include <stdbool.h>

#include "engine.h"

typedef struct {
    engine_parameters values;  // its pointers lead to what follows
    tunnel_server server;
    tunnel_proxy proxy;
    const char** names;
    char* texts;  // all texts, one behind the other
    size_t texts_size;
} owned_parameters;

// False without memory; there is nothing to free then.
bool owned_parameters_copy(owned_parameters* self, const engine_parameters* from);

// Overwrites what was copied, secrets above all, and frees it.
void owned_parameters_wipe(owned_parameters* self);

#endif
