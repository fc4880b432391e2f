// The engines of libnebrix-tunnel.
#include "engine_openvpn.h"

const engine_type* const nebrix_engines[] = {&nebrix_engine_openvpn, NULL};
