// A plug-in that records every call (record.h). Steered further by environment variables:
//   NEBRIX_TEST_STATUS         file with one DllGetErrors2 text per line and poll; without it "[]"
//   NEBRIX_TEST_DOWNLOAD_URL,  what DllStart2 and LaunchSafeResource fetch through the download callback, on a thread
//   of NEBRIX_TEST_DOWNLOAD_PATH  their own; recorded as "download", URL, path, "true" or "false"
// DllGetLogs2 returns "log of the recorder", DllExecute2 the number in its third string, LaunchSafeResource 1000 +
// type.
//
// Variants by compile definitions: NO_OPTIONAL (neither LaunchSafeResource nor DllAddSslServerCertificateName),
// NO_RELEASE (no DllReleaseStr), NULL_CREATE, NULL_ERRORS, INT_RESULTS (setters return an integer).
#define _POSIX_C_SOURCE 200809L
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "tests/support/components/record.h"
#ifdef INT_RESULTS
#pragma GCC diagnostic ignored "-Wmissing-prototypes"
#else
#define NEBRIX_IMPLEMENT_PLUGIN
#endif
#include "sdk/include/nebrix_component.h"
#include "tests/support/components/setters.h"

#ifdef INT_RESULTS
#define RESULT int
#define RETURN return -1
#else
#define RESULT void
#define RETURN return
#endif

typedef struct {
    NebrixDownloadFileTo download;
    unsigned polls;
} instance;

static instance g_instance;

static instance* checked(void* h) {
    if (h != &g_instance)
        record("wrong handle", NULL);
    return &g_instance;
}

static void* download_now(void* unused) {
    const char* url = getenv("NEBRIX_TEST_DOWNLOAD_URL");
    const char* path = getenv("NEBRIX_TEST_DOWNLOAD_PATH");
    if (url != NULL && path != NULL && g_instance.download != NULL)
        record("download", url, path, g_instance.download(url, path) ? "true" : "false", NULL);
    return unused;
}

static void download_on_own_thread(void) {
    pthread_t thread;
    if (pthread_create(&thread, NULL, download_now, NULL) == 0)
        pthread_join(thread, NULL);
}

NEBRIX_EXPORT void* DllCreatePluginFrontal(void) {
    record("DllCreatePluginFrontal", NULL);
#ifdef NULL_CREATE
    return NULL;
#else
    g_instance.polls = 0;
    return &g_instance;
#endif
}

#define SETTER(entry)                                        \
    NEBRIX_EXPORT RESULT entry(void* h, const char* value) { \
        checked(h);                                          \
        record(#entry, value, NULL);                         \
        RETURN;                                              \
    }
PLUGIN_SETTERS(SETTER)
#ifndef NO_OPTIONAL
SETTER(DllAddSslServerCertificateName)

NEBRIX_EXPORT int LaunchSafeResource(void* h, int resource_type, const char* name) {
    char type[16];
    checked(h);
    snprintf(type, sizeof type, "%d", resource_type);
    record("LaunchSafeResource", type, name, NULL);
    download_on_own_thread();
    return 1000 + resource_type;
}
#endif

NEBRIX_EXPORT RESULT DllSetDownloadDelegate2(void* h, NebrixDownloadFileTo download) {
    checked(h)->download = download;
    record("DllSetDownloadDelegate2", download == NULL ? "null" : "set", NULL);
    RETURN;
}

NEBRIX_EXPORT int DllExecute2(void* h, const char* a, const char* b, const char* c) {
    checked(h);
    record("DllExecute2", a, b, c, NULL);
    return (int)strtol(c, NULL, 10);
}

NEBRIX_EXPORT char* DllGetLogs2(void* h) {
    checked(h);
    record("DllGetLogs2", NULL);
    return strdup("log of the recorder");
}

NEBRIX_EXPORT char* DllGetErrors2(void* h) {
    instance* self = checked(h);
    record("DllGetErrors2", NULL);
#ifdef NULL_ERRORS
    (void)self;
    return NULL;
#else
    return scripted_line("NEBRIX_TEST_STATUS", self->polls++, "[]");
#endif
}

NEBRIX_EXPORT RESULT DllStart2(void* h) {
    checked(h);
    record("DllStart2", NULL);
    download_on_own_thread();
    RETURN;
}

NEBRIX_EXPORT RESULT DllStop2(void* h) {
    checked(h);
    record("DllStop2", NULL);
    RETURN;
}

#ifndef NO_RELEASE
NEBRIX_EXPORT void DllReleaseStr(char* text) {
    record("DllReleaseStr", text == NULL ? "null" : text, NULL);
    free(text);
}
#endif
