// SPDX-License-Identifier: MIT
#include "version.h"

#include <stddef.h>
#include <string.h>

typedef struct {
    const char* at;
    const char* end;
} span;

static bool is_digit(char byte) { return byte >= '0' && byte <= '9'; }

// Order of one byte outside a number; the end of the text and a digit count as nothing.
static int weight(span text) {
    if (text.at == text.end || is_digit(*text.at))
        return 0;
    unsigned char byte = (unsigned char)*text.at;
    bool letter = (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z');
    return byte == '~' ? -1 : letter ? byte : byte + 256;
}

// Compares the numbers at the start of both and moves behind them. No number is 0; any length.
static int compare_number(span* a, span* b) {
    int difference = 0;
    while (a->at < a->end && *a->at == '0')
        a->at++;
    while (b->at < b->end && *b->at == '0')
        b->at++;
    while (a->at < a->end && b->at < b->end && is_digit(*a->at) && is_digit(*b->at)) {
        if (difference == 0)
            difference = *a->at - *b->at;
        a->at++;
        b->at++;
    }
    if (a->at < a->end && is_digit(*a->at))
        return 1;
    if (b->at < b->end && is_digit(*b->at))
        return -1;
    return difference;
}

static int compare_part(span a, span b) {
    while (a.at < a.end || b.at < b.end) {
        while ((a.at < a.end && !is_digit(*a.at)) || (b.at < b.end && !is_digit(*b.at))) {
            int difference = weight(a) - weight(b);
            if (difference != 0)
                return difference;
            a.at++;
            b.at++;
        }
        int difference = compare_number(&a, &b);
        if (difference != 0)
            return difference;
    }
    return 0;
}

typedef struct {
    span epoch;
    span upstream;
    span revision;
} version_parts;

static version_parts split(const char* version) {
    const char* end = version + strlen(version);
    const char* colon = strchr(version, ':');
    const char* dash = strrchr(version, '-');
    version_parts parts;
    parts.epoch = (span){version, colon == NULL ? version : colon};
    parts.upstream.at = colon == NULL ? version : colon + 1;
    if (dash == NULL || dash < parts.upstream.at)
        dash = end;
    parts.upstream.end = dash;
    parts.revision = (span){dash == end ? end : dash + 1, end};
    return parts;
}

int version_compare(const char* a, const char* b) {
    version_parts left = split(a);
    version_parts right = split(b);
    int difference = compare_part(left.epoch, right.epoch);
    if (difference == 0)
        difference = compare_part(left.upstream, right.upstream);
    return difference != 0 ? difference : compare_part(left.revision, right.revision);
}

version_relation version_relation_parse(const char* text) {
    static const char* const kTexts[] = {"", "=", "!=", "<", "<=", ">", ">="};
    for (size_t i = 1; i < sizeof kTexts / sizeof kTexts[0]; i++) {
        if (strcmp(text, kTexts[i]) == 0)
            return (version_relation)i;
    }
    return kRelationNone;
}

bool version_satisfies(const char* version, version_relation relation, const char* wanted) {
    if (relation == kRelationNone)
        return true;
    if (*version == '\0')
        return false;
    int order = version_compare(version, wanted);
    switch (relation) {
        case kEqual:
            return order == 0;
        case kNotEqual:
            return order != 0;
        case kLess:
            return order < 0;
        case kLessOrEqual:
            return order <= 0;
        case kGreater:
            return order > 0;
        case kGreaterOrEqual:
            return order >= 0;
        default:
            return true;
    }
}
