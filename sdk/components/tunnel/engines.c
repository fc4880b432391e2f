// The engines of libnebrix-tunnel.
#include "engine.h"

const engine_type* const nebrix_engines[] = {NULL};
