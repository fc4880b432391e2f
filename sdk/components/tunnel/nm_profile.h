// SPDX-License-Identifier: MIT
// The connection that NetworkManager is asked for: what the gateway gave, in the words of its OpenVPN plug-in.
//
// It is volatile, this user's alone, and holds no secret: those are asked of the engine's own agent (nm_agent.h), so
// that NetworkManager has none to write down. Only the routes that the server pushes lead into the tunnel.
#ifndef NEBRIX_TUNNEL_NM_PROFILE_H
#define NEBRIX_TUNNEL_NM_PROFILE_H

#include <stdbool.h>
#include <systemd/sd-bus.h>

#include "engine.h"

enum { kProfileTimeoutSeconds = 30 };

// Appends the settings (a{sa{sv}}). name is the one that the server's certificate must bear, null for any. -EINVAL if
// a text is not UTF-8.
int nm_profile_append(sd_bus_message* message, const engine_parameters* parameters, const char* uuid, const char* name);

// Appends the secrets in the form of an agent's answer (a{sa{sv}}), and has them wiped with the message.
int nm_profile_append_secrets(sd_bus_message* message, const engine_parameters* parameters);

#endif
