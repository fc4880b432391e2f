// SPDX-License-Identifier: MIT
#define _POSIX_C_SOURCE 200809L
#include "log.h"

#include <string.h>
#include <time.h>

enum { kLogLimit = 64 * 1024, kPieceLimit = 512 };

void nebrix_log_init(nebrix_log* log) {
    pthread_mutex_init(&log->mutex, NULL);
    log->text = (nebrix_text)NEBRIX_TEXT_INIT(kLogLimit);
}

static void append_printable(nebrix_text* text, const char* bytes) {
    for (size_t length = 0, done = 0; *bytes != '\0' && done < kPieceLimit; bytes += length, done += length) {
        length = nebrix_utf8_length(bytes);
        if (length == 0 || (unsigned char)*bytes < 0x20 || *bytes == 0x7f) {
            nebrix_text_append(text, "?");
            length = 1;
        } else if (done + length <= kPieceLimit) {
            nebrix_text_append_bytes(text, bytes, length);
        }
    }
}

void nebrix_log_line(nebrix_log* log, const char* text, const char* value) {
    char stamp[32] = "";
    struct tm parts;
    time_t now = time(NULL);
    if (gmtime_r(&now, &parts) != NULL)
        strftime(stamp, sizeof stamp, "%Y-%m-%dT%H:%M:%SZ ", &parts);
    pthread_mutex_lock(&log->mutex);
    if (log->text.length + sizeof stamp + 2 * kPieceLimit + 1 > kLogLimit)
        nebrix_text_drop_lines(&log->text, kLogLimit / 2);
    nebrix_text_append(&log->text, stamp);
    append_printable(&log->text, text);
    append_printable(&log->text, value);
    nebrix_text_append(&log->text, "\n");
    pthread_mutex_unlock(&log->mutex);
}

char* nebrix_log_copy(nebrix_log* log) {
    pthread_mutex_lock(&log->mutex);
    char* copy = nebrix_text_copy(&log->text);
    pthread_mutex_unlock(&log->mutex);
    return copy;
}
