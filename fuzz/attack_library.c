// SPDX-License-Identifier: Apache-2.0
// Says in the environment that its code ran, by the variable ATTACK_MARK.
#define _POSIX_C_SOURCE 200809L
#include <stdlib.h>

__attribute__((constructor)) static void run(void) { setenv(ATTACK_MARK, "1", 1); }
