// SPDX-FileCopyrightText: 2026 Nebrix
// SPDX-License-Identifier: MIT
//
// @NAME@: a host checker, begun with "nebrix-sign new hostchecker".
//
// nebrix_component.h is the contract; the numbers of its conventions stand below where code keeps them. What the
// request and the answer look like is between your gateway and you. Here the request has one rule a line, "ID CONDITION
// VALUE", and the answer is the IDs of the rules that hold, parted by ",". One condition is known: holds() is where
// yours go.
//
//   crypt file /etc/crypttab      something is at the absolute path
#define _POSIX_C_SOURCE 200809L
#include <string.h>
#include <unistd.h>

#define NEBRIX_IMPLEMENT_HOST_CHECKER
#include "nebrix_component.h"

enum { kLongestAnswer = 16 * 1024, kLongestPath = 4096 };

// A piece of the request, which is hostile until checked (3).
typedef struct {
    const char* bytes;
    size_t length;
} piece;

static bool is(piece self, const char* text) {
    return self.length == strlen(text) && memcmp(self.bytes, text, self.length) == 0;
}

// The line up to the next blank; the line goes on behind it.
static piece take_word(piece* line) {
    piece word = {line->bytes, 0};
    while (word.length < line->length && word.bytes[word.length] != ' ')
        word.length++;
    size_t end = word.length;
    while (end < line->length && line->bytes[end] == ' ')
        end++;
    line->bytes += end;
    line->length -= end;
    return word;
}

static bool file_exists(piece value) {
    char path[kLongestPath];
    if (value.length == 0 || value.length >= sizeof path || value.bytes[0] != '/')
        return false;
    memcpy(path, value.bytes, value.length);
    path[value.length] = '\0';
    return access(path, F_OK) == 0;
}

// A condition that is not known does not hold.
static bool holds(piece condition, piece value) { return is(condition, "file") && file_exists(value); }

// An ID may have no ",", which parts the answer.
static bool is_id(piece id) { return id.length > 0 && memchr(id.bytes, ',', id.length) == NULL; }

// Writes only into the directory; elsewhere the system refuses it.
void InitHostCheckerDll(const char* unused1, const char* unused2, const char* directory, const char* hostname,
                        const char* language) {
    (void)unused1, (void)unused2, (void)directory, (void)hostname, (void)language;
}

// Again and again, by one thread (1): look at the machine anew each time. The answer is not given back and stays as it
// is until the next call (6); what finds no room in it is left out.
char* GetValidRules(const char* request) {
    static char answer[kLongestAnswer];
    size_t used = 0;
    while (*request != '\0') {
        piece line = {request, strcspn(request, "\r\n")};
        request += line.length + strspn(request + line.length, "\r\n");
        piece id = take_word(&line);
        piece condition = take_word(&line);
        if (!is_id(id) || used + id.length + 2 > sizeof answer || !holds(condition, line))
            continue;
        if (used > 0)
            answer[used++] = ',';
        memcpy(answer + used, id.bytes, id.length);
        used += id.length;
    }
    answer[used] = '\0';
    return answer;
}

void CloseHostCheckerDll(void) {}
