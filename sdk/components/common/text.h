// SPDX-License-Identifier: MIT
// Growable text for components, in plain C.
//
// A text is a value on the stack or inside a structure; text_init() or NEBRIX_TEXT_INIT makes it empty,
// nebrix_text_free() gives its memory back. It never holds more bytes than its limit: what would pass the
// limit, or finds no memory, is not appended and marks the text as failed; later appends do nothing. So a
// caller appends freely and looks once at the end. Not synchronised.
#ifndef NEBRIX_COMMON_TEXT_H
#define NEBRIX_COMMON_TEXT_H

#include <stdbool.h>
#include <stddef.h>

typedef struct {
    char* data;     // NUL-terminated once anything was appended, else null
    size_t length;  // without the NUL
    size_t capacity;
    size_t limit;
    bool failed;
} nebrix_text;

// An empty text that may grow to limit bytes.
#define NEBRIX_TEXT_INIT(limit_) \
    { NULL, 0, 0, (limit_), false }

void nebrix_text_free(nebrix_text* text);

// Forgets content and failure, keeps the memory.
void nebrix_text_clear(nebrix_text* text);

void nebrix_text_append(nebrix_text* text, const char* bytes);
void nebrix_text_append_bytes(nebrix_text* text, const char* bytes, size_t length);
void nebrix_text_append_int(nebrix_text* text, long value);

// Length of the well-formed UTF-8 character at text (RFC 3629), 0 if there is none. Stops at the NUL.
size_t nebrix_utf8_length(const char* text);

// Appends bytes as a JSON string in double quotes (RFC 8259): quotes, backslashes and control bytes escaped,
// each byte that is not part of well-formed UTF-8 replaced by U+FFFD.
void nebrix_text_append_json(nebrix_text* text, const char* bytes);

// Drops whole lines from the start until at most keep bytes remain.
void nebrix_text_drop_lines(nebrix_text* text, size_t keep);

// The content, "" if nothing was appended; valid until the next change.
const char* nebrix_text_get(const nebrix_text* text);

// A copy that the caller owns (free(3)); null without memory.
char* nebrix_text_copy(const nebrix_text* text);

// Puts a copy of value in place of *slot, which is null or owned (free(3)); null counts as "". The old value is
// overwritten before it is freed, since it may be a secret. False without memory; *slot is null then.
bool nebrix_string_set(char** slot, const char* value);

// Whether name can stand as one file name in a directory: 1 to 255 bytes, no "/", no backslash, no control byte,
// no leading ".".
bool nebrix_is_plain_name(const char* name);

#endif
