// SPDX-License-Identifier: MIT
// The log of one component instance: what DllGetLogs2 returns.
//
// Lines of the form "2024-05-01T12:00:00Z text\n" (UTC); the oldest are dropped once 64 KiB are reached. Control bytes
// in a line, and bytes that are no UTF-8, become "?". Synchronises itself: any thread may call any function. Never give
// it a secret.
#ifndef NEBRIX_COMMON_LOG_H
#define NEBRIX_COMMON_LOG_H

#include <pthread.h>

#include "text.h"

typedef struct {
    pthread_mutex_t mutex;  // guards text
    nebrix_text text;
} nebrix_log;

void nebrix_log_init(nebrix_log* log);

// One line: text, then value. Either may hold any bytes; each is cut at 512.
void nebrix_log_line(nebrix_log* log, const char* text, const char* value);

// A copy that the caller owns (free(3)); null without memory.
char* nebrix_log_copy(nebrix_log* log);

#endif
