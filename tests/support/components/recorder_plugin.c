// SPDX-License-Identifier: Apache-2.0
// A plug-in that records every call (record.h).
// DllGetErrors2 returns the first line of the file that the environment variable NEBRIX_TEST_STATUS names, without it
// "[]"; DllGetLogs2 "log of the recorder" or NEBRIX_TEST_NOTES, DllExecute2 the number in its third string,
// LaunchSafeResource 1000 + type.
//
// Variants by compile definitions: NO_OPTIONAL (neither LaunchSafeResource nor DllAddSslServerCertificateName),
// NO_RELEASE (no DllReleaseStr), NULL_CREATE, NULL_ERRORS.
#define _POSIX_C_SOURCE 200809L
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "tests/support/components/record.h"
#define NEBRIX_IMPLEMENT_PLUGIN
#include "sdk/include/nebrix_component.h"
#include "tests/support/components/setters.h"

static int g_instance;

static const char* checked(const void* h, const char* entry) { return h == &g_instance ? entry : "wrong handle"; }

void* DllCreatePluginFrontal(void) {
    record("DllCreatePluginFrontal", NULL);
#ifdef NULL_CREATE
    return NULL;
#else
    return &g_instance;
#endif
}

#define SETTER(entry) \
    void entry(void* h, const char* value) { record(checked(h, #entry), value, NULL); }
PLUGIN_SETTERS(SETTER)
#ifndef NO_OPTIONAL
SETTER(DllAddSslServerCertificateName)

int LaunchSafeResource(void* h, int resource_type, const char* name) {
    char type[16];
    snprintf(type, sizeof type, "%d", resource_type);
    record(checked(h, "LaunchSafeResource"), type, name, NULL);
    return 1000 + resource_type;
}
#endif

void DllSetDownloadDelegate2(void* h, NebrixDownloadFileTo download) {
    record(checked(h, "DllSetDownloadDelegate2"), download == NULL ? "null" : "set", NULL);
}

int DllExecute2(void* h, const char* a, const char* b, const char* c) {
    record(checked(h, "DllExecute2"), a, b, c, NULL);
    return (int)strtol(c, NULL, 10);
}

char* DllGetLogs2(void* h) {
    record(checked(h, "DllGetLogs2"), NULL);
    const char* notes = getenv("NEBRIX_TEST_NOTES");
    return strdup(notes == NULL ? "log of the recorder" : notes);
}

char* DllGetErrors2(void* h) {
    record(checked(h, "DllGetErrors2"), NULL);
#ifdef NULL_ERRORS
    return NULL;
#else
    const char* path = getenv("NEBRIX_TEST_STATUS");
    FILE* file = path == NULL ? NULL : fopen(path, "re");
    char* line = NULL;
    size_t capacity = 0;
    if (file == NULL)
        return strdup("[]");
    if (getline(&line, &capacity, file) >= 0)
        line[strcspn(line, "\n")] = '\0';
    fclose(file);
    return line;
#endif
}

void DllStart2(void* h) { record(checked(h, "DllStart2"), NULL); }

void DllStop2(void* h) { record(checked(h, "DllStop2"), NULL); }

#ifndef NO_RELEASE
void DllReleaseStr(char* text) {
    record("DllReleaseStr", text == NULL ? "null" : text, NULL);
    free(text);
}
#endif
