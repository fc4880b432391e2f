// SPDX-License-Identifier: MIT
// The engines of libnebrix-tunnel.
#include "engine_openvpn.h"
#ifdef NEBRIX_WITH_NETWORKMANAGER
#include "engine_networkmanager.h"
#endif

const engine_type* const nebrix_engines[] = {
#ifdef NEBRIX_WITH_NETWORKMANAGER
    &nebrix_engine_networkmanager,
#endif
    &nebrix_engine_openvpn, NULL};
