// SPDX-License-Identifier: MIT
#include "text.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

// Room for extra more bytes and the NUL.
static bool reserve(nebrix_text* text, size_t extra) {
    if (text->failed || extra > text->limit - text->length) {
        text->failed = true;
        return false;
    }
    size_t needed = text->length + extra + 1;
    if (needed <= text->capacity)
        return true;
    size_t capacity = text->capacity < 32 ? 64 : text->capacity * 2;
    if (capacity < needed)
        capacity = needed;
    char* data = realloc(text->data, capacity);
    if (data == NULL) {
        text->failed = true;
        return false;
    }
    text->data = data;
    text->capacity = capacity;
    return true;
}

void nebrix_text_free(nebrix_text* text) {
    free(text->data);
    text->data = NULL;
    text->capacity = 0;
    nebrix_text_clear(text);
}

void nebrix_text_clear(nebrix_text* text) {
    text->length = 0;
    text->failed = false;
    if (text->data != NULL)
        text->data[0] = '\0';
}

void nebrix_text_append_bytes(nebrix_text* text, const char* bytes, size_t length) {
    if (!reserve(text, length))
        return;
    memcpy(text->data + text->length, bytes, length);
    text->length += length;
    text->data[text->length] = '\0';
}

void nebrix_text_append(nebrix_text* text, const char* bytes) { nebrix_text_append_bytes(text, bytes, strlen(bytes)); }

void nebrix_text_append_int(nebrix_text* text, long value) {
    char digits[24];
    int length = snprintf(digits, sizeof digits, "%ld", value);
    nebrix_text_append_bytes(text, digits, (size_t)length);
}

size_t nebrix_utf8_length(const char* text) {
    const unsigned char* bytes = (const unsigned char*)text;
    unsigned char lead = bytes[0];
    if (lead < 0x80)
        return 1;
    size_t length = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
    if (lead < 0xc2 || lead > 0xf4)
        return 0;
    for (size_t i = 1; i < length; i++) {
        if ((bytes[i] & 0xc0) != 0x80)
            return 0;
    }
    bool overlong = (lead == 0xe0 && bytes[1] < 0xa0) || (lead == 0xf0 && bytes[1] < 0x90);
    bool surrogate = lead == 0xed && bytes[1] > 0x9f;
    bool beyond = lead == 0xf4 && bytes[1] > 0x8f;
    return overlong || surrogate || beyond ? 0 : length;
}

void nebrix_text_append_json(nebrix_text* text, const char* bytes) {
    nebrix_text_append(text, "\"");
    for (const char* at = bytes; *at != '\0';) {
        size_t length = nebrix_utf8_length(at);
        if (length == 0) {
            nebrix_text_append(text, "\xef\xbf\xbd");
            length = 1;
        } else if ((unsigned char)*at < 0x20 || *at == 0x7f) {
            char escape[8];
            snprintf(escape, sizeof escape, "\\u%04x", (unsigned)(unsigned char)*at);
            nebrix_text_append(text, escape);
        } else {
            if (*at == '"' || *at == '\\')
                nebrix_text_append(text, "\\");
            nebrix_text_append_bytes(text, at, length);
        }
        at += length;
    }
    nebrix_text_append(text, "\"");
}

void nebrix_text_drop_lines(nebrix_text* text, size_t keep) {
    if (text->length <= keep)
        return;
    size_t start = text->length - keep;
    const char* line_end = memchr(text->data + start - 1, '\n', keep + 1);
    start = line_end == NULL ? text->length : (size_t)(line_end - text->data) + 1;
    text->length -= start;
    memmove(text->data, text->data + start, text->length + 1);
}

const char* nebrix_text_get(const nebrix_text* text) { return text->data == NULL ? "" : text->data; }

char* nebrix_text_copy(const nebrix_text* text) {
    char* copy = malloc(text->length + 1);
    if (copy != NULL)
        memcpy(copy, nebrix_text_get(text), text->length + 1);
    return copy;
}

static void erase(char* secret) {
    volatile char* at = secret;
    while (*at != '\0')
        *at++ = '\0';
}

bool nebrix_string_set(char** slot, const char* value) {
    if (value == NULL)
        value = "";
    size_t size = strlen(value) + 1;
    char* copy = malloc(size);
    if (copy != NULL)
        memcpy(copy, value, size);
    if (*slot != NULL) {
        erase(*slot);
        free(*slot);
    }
    *slot = copy;
    return copy != NULL;
}

bool nebrix_is_plain_name(const char* name) {
    size_t length = 0;
    for (; name[length] != '\0'; length++) {
        unsigned char byte = (unsigned char)name[length];
        if (length == 255 || byte < 0x20 || byte == 0x7f || byte == '/' || byte == '\\')
            return false;
    }
    return length > 0 && name[0] != '.';
}
