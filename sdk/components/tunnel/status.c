// SPDX-License-Identifier: MIT
#define _POSIX_C_SOURCE 200809L
#include "status.h"

#include <string.h>

#include "common/text.h"
#include "nebrix_component.h"

void tunnel_status_init(tunnel_status* self) {
    pthread_mutex_init(&self->mutex, NULL);
    tunnel_status_clear(self);
}

void tunnel_status_clear(tunnel_status* self) {
    pthread_mutex_lock(&self->mutex);
    self->pending_count = 0;
    self->present[0] = '\0';
    self->close_reason = kCloseNone;
    pthread_mutex_unlock(&self->mutex);
}

static void append_pending(tunnel_status* self, const char line[kStatusLength]) {
    if (self->pending_count == kStatusPending) {
        self->pending_count--;
        memmove(self->pending[0], self->pending[1], self->pending_count * sizeof self->pending[0]);
    }
    memcpy(self->pending[self->pending_count++], line, kStatusLength);
}

bool tunnel_status_push(tunnel_status* self, const char* status) {
    char line[kStatusLength] = "";
    strncpy(line, status, sizeof line - 1);
    pthread_mutex_lock(&self->mutex);
    bool changed = strcmp(line, self->present) != 0;
    if (changed) {
        memcpy(self->present, line, sizeof line);
        append_pending(self, line);
    }
    pthread_mutex_unlock(&self->mutex);
    return changed;
}

bool tunnel_status_request_close(tunnel_status* self, int reason) {
    pthread_mutex_lock(&self->mutex);
    bool changed = self->close_reason != reason && self->close_reason != kCloseCannotRun;
    if (changed)
        self->close_reason = reason;
    pthread_mutex_unlock(&self->mutex);
    return changed;
}

static void append_message(nebrix_text* list, int code, const char* member) {
    nebrix_text_append(list, list->length > 1 ? ",{\"code\":" : "{\"code\":");
    nebrix_text_append_int(list, code);
    nebrix_text_append(list, member);
}

static void append_status(nebrix_text* list, const char* status) {
    append_message(list, NEBRIX_MESSAGE_STATUS, ",\"status\":");
    nebrix_text_append_json(list, status);
    nebrix_text_append(list, "}");
}

char* tunnel_status_take(tunnel_status* self) {
    nebrix_text list = NEBRIX_TEXT_INIT(64 * 1024);
    nebrix_text_append(&list, "[");
    pthread_mutex_lock(&self->mutex);
    for (size_t i = 0; i < self->pending_count; i++)
        append_status(&list, self->pending[i]);
    if (self->pending_count == 0 && self->present[0] != '\0')
        append_status(&list, self->present);
    self->pending_count = 0;
    if (self->close_reason != kCloseNone) {
        append_message(&list, NEBRIX_MESSAGE_CLOSE_REQUEST, ",\"reason\":");
        nebrix_text_append_int(&list, self->close_reason);
        nebrix_text_append(&list, "}");
    }
    pthread_mutex_unlock(&self->mutex);
    nebrix_text_append(&list, "]");
    char* result = list.failed ? NULL : nebrix_text_copy(&list);
    nebrix_text_free(&list);
    return result;
}

void tunnel_status_present(tunnel_status* self, char out[kStatusLength]) {
    pthread_mutex_lock(&self->mutex);
    memcpy(out, self->present, kStatusLength);
    pthread_mutex_unlock(&self->mutex);
}
