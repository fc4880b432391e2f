// SPDX-License-Identifier: MIT
#define _DEFAULT_SOURCE
#include "parameters.h"

#include <stdlib.h>
#include <string.h>

enum { kTextCount = 9 };

// The members that are texts. The one place to name a new one.
static void list_texts(engine_parameters* values, const char** texts[kTextCount]) {
    const char** const all[kTextCount] = {&values->hostname, &values->login,         &values->organization,
                                          &values->ticket,   &values->session_id,    &values->cert_path,
                                          &values->ca_path,  &values->cert_password, &values->directory};
    memcpy(texts, all, sizeof all);
}

// Copies text to *end, which moves behind it.
static const char* put(char** end, const char* text) {
    size_t size = strlen(text) + 1;
    char* copy = memcpy(*end, text, size);
    *end += size;
    return copy;
}

bool owned_parameters_copy(owned_parameters* self, const engine_parameters* from) {
    const char** texts[kTextCount];
    self->values = *from;
    list_texts(&self->values, texts);
    self->texts_size = 0;
    for (size_t i = 0; i < kTextCount; i++)
        self->texts_size += strlen(*texts[i]) + 1;
    for (size_t i = 0; i < from->server_name_count; i++)
        self->texts_size += strlen(from->server_names[i]) + 1;
    self->texts = malloc(self->texts_size);
    self->names = calloc(from->server_name_count + 1, sizeof *self->names);
    if (self->texts == NULL || self->names == NULL) {
        free(self->texts);
        free(self->names);
        return false;
    }
    char* end = self->texts;
    for (size_t i = 0; i < kTextCount; i++)
        *texts[i] = put(&end, *texts[i]);
    for (size_t i = 0; i < from->server_name_count; i++)
        self->names[i] = put(&end, from->server_names[i]);
    self->values.server_names = self->names;
    self->server = *from->server;
    self->values.server = &self->server;
    if (from->proxy != NULL) {
        self->proxy = *from->proxy;
        self->values.proxy = &self->proxy;
    }
    return true;
}

void owned_parameters_wipe(owned_parameters* self) {
    explicit_bzero(self->texts, self->texts_size);
    free(self->texts);
    free(self->names);
    explicit_bzero(self, sizeof *self);
}
