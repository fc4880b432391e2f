// SPDX-License-Identifier: MIT
#include "management.h"

#include <stdio.h>
#include <string.h>

char* management_room(management_reader* reader, size_t* size) {
    if (reader->start > 0) {
        memmove(reader->data, reader->data + reader->start, reader->end - reader->start);
        reader->end -= reader->start;
        reader->start = 0;
    }
    *size = sizeof reader->data - reader->end;
    return reader->data + reader->end;
}

void management_filled(management_reader* reader, size_t size) { reader->end += size; }

management_progress management_next(management_reader* reader, char** line) {
    char* start = reader->data + reader->start;
    size_t length = reader->end - reader->start;
    char* end = memchr(start, '\n', length);
    if (end == NULL)
        return length == sizeof reader->data ? kManagementBroken : kManagementMore;
    reader->start = (size_t)(end - reader->data) + 1;
    if (memchr(start, '\0', (size_t)(end - start)) != NULL)
        return kManagementBroken;
    if (end > start && end[-1] == '\r')
        end--;
    *end = '\0';
    *line = start;
    return kManagementLine;
}

// What follows the prefix, or null.
static char* after(char* text, const char* prefix) {
    size_t length = strlen(prefix);
    return strncmp(text, prefix, length) == 0 ? text + length : NULL;
}

// Cuts *rest at the separator and moves it behind; at the end of the line, "" is left.
static char* cut(char** rest, char separator) {
    char* piece = *rest;
    char* at = strchr(piece, separator);
    if (at == NULL) {
        *rest = piece + strlen(piece);
    } else {
        *at = '\0';
        *rest = at + 1;
    }
    return piece;
}

// TIME,NAME,why,address,remote,port,local,port,address6
static management_event parse_state(char* text) {
    enum { kTime, kName, kWhy, kAddress, kAddress6 = 8, kFields };
    const char* fields[kFields];
    for (size_t i = 0; i < kFields; i++)
        fields[i] = cut(&text, ',');
    bool formed = *fields[kTime] != '\0' && *fields[kName] != '\0';
    formed = formed && strspn(fields[kTime], "0123456789") == strlen(fields[kTime]);
    return (management_event){formed ? kManagementState : kManagementBad, fields[kName], fields[kWhy], fields[kAddress],
                              fields[kAddress6]};
}

// TIME,FLAGS,text
static management_event parse_log(char* text) {
    bool formed = strchr(text, ',') != NULL;
    cut(&text, ',');
    formed = formed && strchr(text, ',') != NULL;
    const char* flags = cut(&text, ',');
    return (management_event){formed ? kManagementLog : kManagementBad, flags, text, "", ""};
}

// 'NAME' and what follows a blank
static management_event parse_quoted(management_kind kind, char* text) {
    char* name = after(text, "'");
    bool formed = name != NULL && strchr(name, '\'') != NULL;
    if (!formed)
        return (management_event){kManagementBad, "", "", "", ""};
    cut(&name, '\'');
    const char* rest = *name == ' ' ? name + 1 : name;
    return (management_event){kind, text + 1, rest, "", ""};
}

static management_event parse_password(char* text) {
    char* rest = after(text, "Need ");
    if (rest != NULL)
        return parse_quoted(kManagementNeed, rest);
    rest = after(text, "Verification Failed: ");
    if (rest != NULL)
        return parse_quoted(kManagementRefused, rest);
    // "Auth-Token:" brings a secret that openvpn itself keeps.
    return (management_event){kManagementOther, "", "", "", ""};
}

static management_event parse_updown(char* text) {
    char* variable = after(text, "ENV,");
    if (variable != NULL) {
        const char* name = cut(&variable, '=');
        return (management_event){kManagementEnvironment, name, variable, "", ""};
    }
    management_kind kind = strcmp(text, "UP") == 0 ? kManagementUp : kManagementDown;
    return (management_event){kind == kManagementDown && strcmp(text, "DOWN") != 0 ? kManagementBad : kind, "", "", "",
                              ""};
}

management_event management_parse(char* line) {
    management_event event = {kManagementOther, "", "", "", ""};
    if (*line != '>')
        return event;
    char* text = line + 1;
    const char* source = cut(&text, ':');
    if (strcmp(source, "STATE") == 0)
        return parse_state(text);
    if (strcmp(source, "LOG") == 0)
        return parse_log(text);
    if (strcmp(source, "PASSWORD") == 0)
        return parse_password(text);
    if (strcmp(source, "UPDOWN") == 0)
        return parse_updown(text);
    if (strcmp(source, "FATAL") == 0) {
        event.kind = kManagementFatal;
        event.text = text;
    } else if (strncmp(source, "NEED-", 5) == 0 || strcmp(source, "PK_SIGN") == 0 || strcmp(source, "PROXY") == 0) {
        event.kind = kManagementNeed;
        event.name = source;
    }
    return event;
}

bool management_takes(const char* value) {
    size_t length = 0;
    for (; value[length] != '\0'; length++) {
        if (length == kManagementValueLimit || value[length] < 0x20 || value[length] > 0x7e)
            return false;
    }
    return true;
}

size_t management_answer(char out[kManagementAnswerSize], const char* verb, const char* kind, const char* value) {
    int head = snprintf(out, kManagementAnswerSize, "%s \"%s\" \"", verb, kind);
    char* at = out + head;
    for (; *value != '\0'; value++) {
        if (*value == '"' || *value == '\\')
            *at++ = '\\';
        *at++ = *value;
    }
    *at++ = '"';
    *at++ = '\n';
    return (size_t)(at - out);
}
