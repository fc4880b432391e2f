// SPDX-License-Identifier: MIT
#define _POSIX_C_SOURCE 200809L
#include "rules.h"

#include <string.h>

typedef struct {
    const char* at;
    const char* end;
} cursor;

static bool is_blank(char byte) { return byte == ' ' || byte == '\t'; }

static void skip_blanks(cursor* text) {
    while (text->at < text->end && is_blank(*text->at))
        text->at++;
}

// The next word into out, false if there is none or it does not fit.
static bool next_word(cursor* text, char* out, size_t capacity) {
    skip_blanks(text);
    const char* start = text->at;
    while (text->at < text->end && !is_blank(*text->at))
        text->at++;
    size_t length = (size_t)(text->at - start);
    if (length == 0 || length >= capacity)
        return false;
    memcpy(out, start, length);
    out[length] = '\0';
    return true;
}

// Whatever follows, without blanks around it.
static bool rest(cursor* text, char* out, size_t capacity) {
    skip_blanks(text);
    const char* end = text->end;
    while (end > text->at && is_blank(end[-1]))
        end--;
    size_t length = (size_t)(end - text->at);
    text->at = text->end;
    if (length == 0 || length >= capacity)
        return false;
    memcpy(out, end - length, length);
    out[length] = '\0';
    return true;
}

static bool is_id(const char* word) {
    return strspn(word, "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.") == strlen(word);
}

static condition_kind kind_of(const char* word) {
    static const char* const kWords[] = {"", "file", "process", "os", "kernel", "package"};
    for (size_t i = 1; i < sizeof kWords / sizeof kWords[0]; i++) {
        if (strcmp(word, kWords[i]) == 0)
            return (condition_kind)i;
    }
    return kConditionNone;
}

static bool parse_versioned(cursor* text, rule* out) {
    char word[8];
    if (!next_word(text, out->subject, sizeof out->subject))
        return false;
    skip_blanks(text);
    if (text->at == text->end)
        return true;
    if (!next_word(text, word, sizeof word) || !next_word(text, out->wanted, sizeof out->wanted))
        return false;
    out->relation = version_relation_parse(word);
    skip_blanks(text);
    return out->relation != kRelationNone && text->at == text->end;
}

static bool parse_condition(cursor* text, rule* out, condition_kind* kind) {
    char word[16];
    if (!next_word(text, word, sizeof word))
        return false;
    out->negated = strcmp(word, "not") == 0;
    if (out->negated && !next_word(text, word, sizeof word))
        return false;
    *kind = kind_of(word);
    switch (*kind) {
        case kFile:
            return rest(text, out->subject, sizeof out->subject) && out->subject[0] == '/';
        case kProcess:
            return rest(text, out->subject, sizeof out->subject);
        case kConditionNone:
            return false;
        default:
            return parse_versioned(text, out);
    }
}

bool rule_parse(const char* line, size_t length, rule* out) {
    cursor text = {line, line + length};
    condition_kind kind = kConditionNone;
    memset(out, 0, sizeof *out);
    if (length > 0 && line[length - 1] == '\r')
        text.end--;
    skip_blanks(&text);
    if (text.at == text.end || *text.at == '#' || !next_word(&text, out->id, sizeof out->id) || !is_id(out->id))
        return false;
    out->kind = parse_condition(&text, out, &kind) ? kind : kConditionNone;
    return true;
}

bool rule_holds(const rule* self, facts* machine) {
    bool is_so = false;
    switch (self->kind) {
        case kConditionNone:
            return false;
        case kFile:
            is_so = facts_file_exists(machine, self->subject);
            break;
        case kProcess:
            is_so = facts_process_runs(machine, self->subject);
            break;
        case kOs:
            is_so = facts_os_is(machine, self->subject, self->relation, self->wanted);
            break;
        case kKernel:
            is_so = facts_kernel_is(machine, self->subject, self->relation, self->wanted);
            break;
        case kPackage:
            is_so = facts_package_installed(machine, self->subject, self->relation, self->wanted);
            break;
    }
    return is_so != self->negated;
}

typedef struct {
    char id[kIdLimit + 1];
    bool holds;
} verdict;

typedef struct {
    verdict verdicts[kRuleLimit];
    size_t count;
    size_t lines;
} verdict_list;

static void merge(verdict_list* list, const rule* one, bool holds) {
    for (size_t i = 0; i < list->count; i++) {
        if (strcmp(list->verdicts[i].id, one->id) == 0) {
            list->verdicts[i].holds = list->verdicts[i].holds && holds;
            return;
        }
    }
    verdict* added = &list->verdicts[list->count++];
    memcpy(added->id, one->id, sizeof added->id);
    added->holds = holds;
}

// False if there are too many lines.
static bool judge(const char* request, facts* machine, verdict_list* list) {
    rule one;
    while (*request != '\0') {
        size_t length = strcspn(request, "\n");
        if (rule_parse(request, length, &one)) {
            if (list->lines++ == kRuleLimit)
                return false;
            merge(list, &one, rule_holds(&one, machine));
        }
        request += length + (request[length] == '\n');
    }
    return true;
}

void rules_evaluate(const char* request, facts* machine, nebrix_text* answer) {
    verdict_list list;
    list.count = 0;
    list.lines = 0;
    if (strnlen(request, kRequestLimit + 1) > kRequestLimit || !judge(request, machine, &list))
        return;
    bool first = true;
    for (size_t i = 0; i < list.count; i++) {
        if (!list.verdicts[i].holds)
            continue;
        if (!first)
            nebrix_text_append(answer, ",");
        nebrix_text_append(answer, list.verdicts[i].id);
        first = false;
    }
}
