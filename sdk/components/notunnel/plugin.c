// SPDX-License-Identifier: MIT
// Reference plug-in without tunnel: opens one published resource in LaunchSafeResource.
//
// Resource type 1, a file: fetches "/resources/" + name from the gateway through the client's download callback into
// "Resources" in the plug-in directory, readable by its owner alone, and, only if the environment variable
// NEBRIX_RESOURCE_VIEWER names a program by an absolute path, starts that program with the file as its argument.
// The name must be a plain file name (no "/", no backslash, no control byte, no leading "."). Other types are refused.
//
// Results of LaunchSafeResource:
//    1  file fetched            -1  unknown resource type    -3  no plug-in directory or no download callback
//    2  and viewer started      -2  name is not plain        -4  fetching failed    -5  fetched, no viewer started
//
// Does not: build a tunnel, so DllStart2 and DllStop2 do nothing and the setters of a tunnel are taken and dropped;
// choose a viewer by itself; wait for the viewer. Its status list is always empty. DllExecute2 knows no command (-1).
#define _POSIX_C_SOURCE 200809L
#include <stdlib.h>
#include <string.h>

#include "common/log.h"
#include "common/text.h"
#include "resource.h"
#define NEBRIX_IMPLEMENT_PLUGIN
#include "nebrix_component.h"

enum { kTypeFile = 1 };

enum {
    kFetched = 1,
    kViewing = 2,
    kUnknownType = -1,
    kBadName = -2,
    kNotReady = -3,
    kFetchFailed = -4,
    kNoViewer = -5
};

// Of the client's thread; the log synchronises itself.
typedef struct instance {
    char* plugin_dir;  // owned; null until set
    NebrixDownloadFileTo download;
    nebrix_log log;
    struct instance* next;
} instance;

// Instances live to the end of the process; the list keeps them reachable for leak checkers.
static instance* g_instances;
static pthread_mutex_t g_instances_mutex = PTHREAD_MUTEX_INITIALIZER;

void* DllCreatePluginFrontal(void) {
    instance* self = calloc(1, sizeof *self);
    if (self == NULL)
        return NULL;
    nebrix_log_init(&self->log);
    pthread_mutex_lock(&g_instances_mutex);
    self->next = g_instances;
    g_instances = self;
    pthread_mutex_unlock(&g_instances_mutex);
    return self;
}

void DllSetPluginDir2(void* h, const char* plugin_dir) {
    if (h != NULL)
        nebrix_string_set(&((instance*)h)->plugin_dir, plugin_dir);
}

void DllSetDownloadDelegate2(void* h, NebrixDownloadFileTo download) {
    if (h != NULL)
        ((instance*)h)->download = download;
}

static int finish(instance* self, int result, const char* text, const char* value) {
    nebrix_log_line(&self->log, text, value);
    return result;
}

static int view(instance* self, const char* file) {
    const char* viewer = getenv("NEBRIX_RESOURCE_VIEWER");
    if (viewer == NULL || *viewer == '\0')
        return finish(self, kFetched, "fetched ", file);
    if (*viewer != '/' || !resource_view(viewer, file))
        return finish(self, kNoViewer, "fetched, but the viewer cannot be started: ", viewer);
    return finish(self, kViewing, "fetched and opened ", file);
}

int LaunchSafeResource(void* h, int resource_type, const char* name) {
    instance* self = h;
    if (self == NULL || self->plugin_dir == NULL || *self->plugin_dir == '\0' || self->download == NULL)
        return kNotReady;
    if (resource_type != kTypeFile)
        return finish(self, kUnknownType, "unknown resource type for ", name);
    if (!nebrix_is_plain_name(name))
        return finish(self, kBadName, "refused name: ", name);
    nebrix_text url = NEBRIX_TEXT_INIT(2048);
    nebrix_text directory = NEBRIX_TEXT_INIT(4096);
    nebrix_text file = NEBRIX_TEXT_INIT(4096);
    resource_url(&url, name);
    nebrix_text_append(&directory, self->plugin_dir);
    nebrix_text_append(&directory, "/Resources");
    bool fetched = !url.failed && !directory.failed &&
                   resource_fetch(self->download, nebrix_text_get(&url), nebrix_text_get(&directory), name, &file);
    int result = fetched ? view(self, nebrix_text_get(&file))
                         : finish(self, kFetchFailed, "cannot fetch ", nebrix_text_get(&url));
    nebrix_text_free(&url);
    nebrix_text_free(&directory);
    nebrix_text_free(&file);
    return result;
}

char* DllGetLogs2(void* h) { return h == NULL ? NULL : nebrix_log_copy(&((instance*)h)->log); }

char* DllGetErrors2(void* h) {
    nebrix_text none = NEBRIX_TEXT_INIT(8);
    (void)h;
    nebrix_text_append(&none, "[]");
    char* result = none.failed ? NULL : nebrix_text_copy(&none);
    nebrix_text_free(&none);
    return result;
}

void DllReleaseStr(char* text) { free(text); }

int DllExecute2(void* h, const char* a, const char* b, const char* c) {
    (void)h, (void)a, (void)b, (void)c;
    return -1;
}

static void drop(void* h, const char* value) { (void)h, (void)value; }

void DllSetDllVersion2(void* h, const char* version) { drop(h, version); }
void DllSetLogin2(void* h, const char* login) { drop(h, login); }
void DllSetOrganization2(void* h, const char* organization) { drop(h, organization); }
void DllSetHostname2(void* h, const char* hostname) { drop(h, hostname); }
void DllSetServer2(void* h, const char* server) { drop(h, server); }
void DllSetSuffix2(void* h, const char* suffix) { drop(h, suffix); }
void DllSetTicket2(void* h, const char* ticket) { drop(h, ticket); }
void DllSetSessionId2(void* h, const char* session_id) { drop(h, session_id); }
void DllSetCertDirectory2(void* h, const char* cert_directory) { drop(h, cert_directory); }
void DllSetCertFileName2(void* h, const char* cert_file_name) { drop(h, cert_file_name); }
void DllSetCaFileName2(void* h, const char* ca_file_name) { drop(h, ca_file_name); }
void DllSetCertPassword2(void* h, const char* cert_password) { drop(h, cert_password); }
void DllSetProxy2(void* h, const char* proxy_description) { drop(h, proxy_description); }
void DllAddSslServerCertificateName(void* h, const char* name) { drop(h, name); }
void DllStart2(void* h) { (void)h; }
void DllStop2(void* h) { (void)h; }
