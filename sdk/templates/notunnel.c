// SPDX-FileCopyrightText: 2026 Nebrix
// SPDX-License-Identifier: MIT
//
// @NAME@: a plug-in that opens one published resource without a tunnel, begun with "nebrix-sign new notunnel".
//
// nebrix_component.h is the contract; the numbers of its conventions stand below where code keeps them. The client
// makes an instance, sets version, directory, proxy and download callback, and calls LaunchSafeResource, which here
// fetches /resources/NAME from the gateway into a file of the plug-in's directory. What is to become of that file is
// your work.
//
// Results: 1 fetched, -1 the name is no plain file name, -2 nothing to fetch with or into, -3 not fetched. Below 0 the
// session counts as failed.
#define _POSIX_C_SOURCE 200809L
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define NEBRIX_IMPLEMENT_PLUGIN
#include "nebrix_component.h"

enum { kLogSize = 16 * 1024, kLongestLine = 512, kLongestName = 255, kLongestPath = 4096 };
enum { kFetched = 1, kBadName = -1, kNotReady = -2, kNotFetched = -3 };

// Of the client's thread alone. Threads of your own need a mutex, and block all signals.
typedef struct plugin {
    char* directory;  // ends with "/"
    NebrixDownloadFileTo download;
    char log[kLogSize];
    struct plugin* next;
} plugin;

// Instances live to the end of the process (9). The list keeps them in sight of tools that look for leaks.
static plugin* g_plugins;
static pthread_mutex_t g_plugins_mutex = PTHREAD_MUTEX_INITIALIZER;

// A line of the log: never a secret (12), nor bytes of the gateway's that are no text (3).
static void note(plugin* self, const char* text, const char* value) {
    size_t used = strlen(self->log);
    if (used + kLongestLine > sizeof self->log)
        used = 0;  // begins anew
    snprintf(self->log + used, kLongestLine, "%s%.400s\n", text, value);
}

// Whether the gateway's name can stand as one file name in a directory: it is hostile until checked (3).
static bool is_plain_name(const char* name) {
    size_t length = 0;
    for (; name[length] != '\0'; length++) {
        unsigned char byte = (unsigned char)name[length];
        if (length == kLongestName || byte < 0x20 || byte == 0x7f || byte == '/' || byte == '\\')
            return false;
    }
    return length > 0 && name[0] != '.';
}

// "/resources/" and the name, percent-encoded (RFC 3986). The room is enough for every plain name.
static void make_url(char url[16 + 3 * kLongestName], const char* name) {
    static const char kUnreserved[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
    char* at = url + sprintf(url, "/resources/");
    for (; *name != '\0'; name++)
        at += sprintf(at, strchr(kUnreserved, *name) != NULL ? "%c" : "%%%02X", (unsigned)(unsigned char)*name);
}

// Beside the final name, and renamed: after a failure the file of an earlier session is still whole.
static bool fetch(const plugin* self, const char* url, const char* path) {
    char part[kLongestPath + 8];
    snprintf(part, sizeof part, "%s.part", path);
    if (self->download(url, part) && rename(part, path) == 0)
        return true;
    remove(part);
    return false;
}

// May take long; the session waits, and is over when this returns.
int LaunchSafeResource(void* h, int resource_type, const char* name) {
    plugin* self = h;
    char url[16 + 3 * kLongestName];
    char path[kLongestPath];
    (void)resource_type;  // the gateway's "safetype": what its numbers mean is between it and you
    if (!is_plain_name(name)) {
        note(self, "the resource's name is refused", "");
        return kBadName;
    }
    if (self->directory == NULL || self->download == NULL ||
        (size_t)snprintf(path, sizeof path, "%sResources/%s", self->directory, name) >= sizeof path)
        return kNotReady;
    make_url(url, name);
    if (!fetch(self, url, path)) {
        note(self, "cannot fetch ", url);
        return kNotFetched;
    }
    note(self, "fetched ", url);
    return kFetched;
}

void* DllCreatePluginFrontal(void) {
    plugin* self = calloc(1, sizeof *self);
    if (self == NULL)
        return NULL;
    pthread_mutex_lock(&g_plugins_mutex);
    self->next = g_plugins;
    g_plugins = self;
    pthread_mutex_unlock(&g_plugins_mutex);
    return self;
}

// The client's strings live for the call only (4).
void DllSetPluginDir2(void* h, const char* plugin_dir) {
    plugin* self = h;
    free(self->directory);
    self->directory = strdup(plugin_dir);
}

// Valid to the end of the process, on any thread (2).
void DllSetDownloadDelegate2(void* h, NebrixDownloadFileTo download) { ((plugin*)h)->download = download; }

void DllSetDllVersion2(void* h, const char* version) { (void)h, (void)version; }
void DllSetProxy2(void* h, const char* proxy_description) { (void)h, (void)proxy_description; }

// Required, and called for a tunnel alone.
void DllSetLogin2(void* h, const char* login) { (void)h, (void)login; }
void DllSetOrganization2(void* h, const char* organization) { (void)h, (void)organization; }
void DllSetHostname2(void* h, const char* hostname) { (void)h, (void)hostname; }
void DllSetServer2(void* h, const char* server) { (void)h, (void)server; }
void DllSetSuffix2(void* h, const char* suffix) { (void)h, (void)suffix; }
void DllSetTicket2(void* h, const char* ticket) { (void)h, (void)ticket; }
void DllSetSessionId2(void* h, const char* session_id) { (void)h, (void)session_id; }
void DllSetCertDirectory2(void* h, const char* cert_directory) { (void)h, (void)cert_directory; }
void DllSetCertFileName2(void* h, const char* cert_file_name) { (void)h, (void)cert_file_name; }
void DllSetCaFileName2(void* h, const char* ca_file_name) { (void)h, (void)ca_file_name; }
void DllSetCertPassword2(void* h, const char* cert_password) { (void)h, (void)cert_password; }
void DllStart2(void* h) { (void)h; }
void DllStop2(void* h) { (void)h; }

char* DllGetErrors2(void* h) {
    (void)h;
    return strdup("[]");
}

char* DllGetLogs2(void* h) { return strdup(((plugin*)h)->log); }

// What the two above returned comes back here (5).
void DllReleaseStr(char* text) { free(text); }

int DllExecute2(void* h, const char* a, const char* b, const char* c) {
    (void)h, (void)a, (void)b, (void)c;
    return -1;
}
