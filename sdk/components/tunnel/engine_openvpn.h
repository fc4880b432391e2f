// SPDX-License-Identifier: MIT
// The engine that runs openvpn itself and speaks with it over its management interface.
#ifndef NEBRIX_TUNNEL_ENGINE_OPENVPN_H
#define NEBRIX_TUNNEL_ENGINE_OPENVPN_H

#include "engine.h"
#include "openvpnsession.h"

extern const engine_type nebrix_engine_openvpn;

// The engine's work on a machine that has what it needs.
engine_result openvpn_engine_run(const openvpn_machine* machine, const engine_parameters* parameters,
                                 const engine_listener* listener, engine_wishes* wishes);

#endif
