// The component header as a C99 compiler sees it: every entry is implemented against its prototype and stored in a
// pointer of its type, so that neither can change without the other.
#include <string.h>

#define NEBRIX_IMPLEMENT_PLUGIN
#define NEBRIX_IMPLEMENT_HOST_CHECKER
#include "sdk/include/nebrix_component.h"
#include "tests/support/components/setters.h"

int contract_calls_that_arrived(void);

static int g_instance;
static int g_arrived;
static char g_text[] = "text";

static void arrived(const void* h, const char* value, const char* expected) {
    g_arrived += h == &g_instance && strcmp(value, expected) == 0;
}

static bool download(const char* url, const char* local_path) {
    return strcmp(url, "url") == 0 && strcmp(local_path, "path") == 0;
}

#define SETTER(entry) \
    void entry(void* h, const char* value) { arrived(h, value, #entry); }
PLUGIN_SETTERS(SETTER)
SETTER(DllAddSslServerCertificateName)

void* DllCreatePluginFrontal(void) { return &g_instance; }
void DllSetDownloadDelegate2(void* h, NebrixDownloadFileTo callback) {
    arrived(h, callback("url", "path") ? "y" : "n", "y");
}
int DllExecute2(void* h, const char* a, const char* b, const char* c) {
    arrived(h, b, "b");
    return a[0] == 'a' && c[0] == 'c';
}
char* DllGetLogs2(void* h) { return h == &g_instance ? g_text : NULL; }
char* DllGetErrors2(void* h) { return h == &g_instance ? g_text : NULL; }
void DllStart2(void* h) { arrived(h, "", ""); }
void DllStop2(void* h) { arrived(h, "", ""); }
void DllReleaseStr(char* text) { g_arrived += text == g_text; }
int LaunchSafeResource(void* h, int resource_type, const char* name) {
    arrived(h, name, "name");
    return resource_type;
}
void InitHostCheckerDll(const char* unused1, const char* unused2, const char* directory, const char* hostname,
                        const char* language) {
    g_arrived +=
        unused1[0] == '\0' && unused2[0] == '\0' && directory[0] == 'd' && hostname[0] == 'h' && language[0] == 'l';
}
void CloseHostCheckerDll(void) { g_arrived++; }
char* GetValidRules(const char* request) { return request[0] == 'r' ? g_text : NULL; }

static void call_plugin(void) {
    NebrixDllCreatePluginFrontal create = DllCreatePluginFrontal;
    NebrixDllSetDownloadDelegate2 set_delegate = DllSetDownloadDelegate2;
    NebrixDllExecute2 execute = DllExecute2;
    NebrixDllGetLogs2 logs = DllGetLogs2;
    NebrixDllGetErrors2 errors = DllGetErrors2;
    NebrixDllStart2 start = DllStart2;
    NebrixDllStop2 stop = DllStop2;
    NebrixDllReleaseStr release = DllReleaseStr;
    NebrixLaunchSafeResource launch = LaunchSafeResource;
    void* h = create();
#define SET(entry)                  \
    Nebrix##entry p##entry = entry; \
    p##entry(h, #entry);
    PLUGIN_SETTERS(SET)
    SET(DllAddSslServerCertificateName)
    set_delegate(h, download);
    start(h);
    g_arrived += execute(h, "a", "b", "c") + launch(h, 1, "name");
    release(logs(h));
    release(errors(h));
    stop(h);
}

int contract_calls_that_arrived(void) {
    NebrixInitHostCheckerDll init = InitHostCheckerDll;
    NebrixGetValidRules rules = GetValidRules;
    NebrixCloseHostCheckerDll end = CloseHostCheckerDll;
    g_arrived = 0;
    call_plugin();
    init("", "", "d", "h", "l");
    g_arrived += rules("r") == g_text;
    end();
    return g_arrived;
}
