// SPDX-License-Identifier: MIT
// The engine that asks NetworkManager for the tunnel, and its OpenVPN plug-in with it: nothing of ours needs a right.
#ifndef NEBRIX_TUNNEL_ENGINE_NETWORKMANAGER_H
#define NEBRIX_TUNNEL_ENGINE_NETWORKMANAGER_H

#include "engine.h"

extern const engine_type nebrix_engine_networkmanager;

#endif
