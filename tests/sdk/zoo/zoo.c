// SPDX-License-Identifier: Apache-2.0
// A plug-in that keeps the contract but for one rule, which the environment variable NEBRIX_ZOO names by its number.
// With UNDEFINED it calls a function that is nowhere; with HOST_CHECKER it is a host checker.
#define _GNU_SOURCE
#include <fcntl.h>
#include <locale.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#ifdef HOST_CHECKER
#define NEBRIX_IMPLEMENT_HOST_CHECKER
#else
#define NEBRIX_IMPLEMENT_PLUGIN
#endif
#include "sdk/include/nebrix_component.h"

extern char** environ;

static bool breaks(const char* rule) {
    const char* told = getenv("NEBRIX_ZOO");
    return told != NULL && strcmp(told, rule) == 0;
}

static void crash(void) { raise(SIGSEGV); }

static __thread bool t_mine;
static int g_starts;

// What may go wrong at a start, of a plug-in or a host checker.
static void start(void) {
    g_starts++;
    if (breaks("1a") && g_starts > 1 && !t_mine)
        crash();
    t_mine = true;
    if (breaks("1b"))
        pause();
    if (breaks("10b"))
        exit(0);
    if (breaks("10c cwd") && chdir("/") != 0)
        abort();
    if (breaks("10c umask"))
        umask(0);
    if (breaks("10d"))
        setlocale(LC_ALL, "C.UTF-8");
    if (breaks("10e handler"))
        signal(SIGCHLD, SIG_IGN);
    if (breaks("10e mask")) {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, NULL);
    }
    if (breaks("10f"))
        setenv("ZOO_SECRET", "value", 1);
    if (breaks("10g write"))
        printf("from the zoo");
    if (breaks("10g close"))
        close(STDIN_FILENO);
    if (breaks("13a") && g_starts == 50)
        crash();
}

static void* stay(void* none) {
    pause();
    return none;
}

static void* volatile g_lost;

static void leave_behind(void) {
    pthread_t thread;
    if (breaks("13c threads") && pthread_create(&thread, NULL, stay, NULL) == 0)
        pthread_detach(thread);
    if (breaks("13c files") && open("/dev/null", O_RDONLY | O_CLOEXEC) < 0)
        abort();
    if (breaks("13d"))
        g_lost = malloc(77);
}

#ifdef HOST_CHECKER

// Shared, so that a child process can change it.
static char* rules(void) {
    static char* text;
    if (text == NULL)
        text = mmap(NULL, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return strcpy(text, "rule");
}

static char* forget(char* text) {
    if (fork() == 0) {
        usleep(5000);
        text[0] = '\0';
        _exit(0);
    }
    return text;
}

void InitHostCheckerDll(const char* a, const char* b, const char* directory, const char* host, const char* language) {
    (void)a, (void)b, (void)directory, (void)host, (void)language;
    start();
}

char* GetValidRules(const char* request) {
    (void)request;
    if (breaks("6b")) {
        static char many[(1 << 20) + 2];
        return memset(many, 'r', sizeof many - 1);
    }
    return breaks("6a") ? forget(rules()) : rules();
}

void CloseHostCheckerDll(void) { leave_behind(); }

#else

static int g_instances;
static bool g_started;
static const char* g_kept;
static volatile char g_first;
static char g_ticket[64];
static char g_server[4096];
static char g_directory[4096];
static NebrixDownloadFileTo g_download;

void* DllCreatePluginFrontal(void) { return breaks("9") && ++g_instances > 1 ? NULL : &g_instances; }

#define IGNORED(name) \
    void name(void* h, const char* value) { (void)h, (void)value; }
IGNORED(DllSetDllVersion2)
IGNORED(DllSetLogin2)
IGNORED(DllSetOrganization2)
IGNORED(DllSetHostname2)
IGNORED(DllSetSuffix2)
IGNORED(DllSetSessionId2)
IGNORED(DllSetCertDirectory2)
IGNORED(DllSetCertFileName2)
IGNORED(DllSetCaFileName2)
IGNORED(DllSetCertPassword2)
IGNORED(DllSetProxy2)
IGNORED(DllAddSslServerCertificateName)

static void keep(char* to, size_t size, const char* value) { snprintf(to, size, "%s", value); }

void DllSetPluginDir2(void* h, const char* directory) {
    (void)h;
    keep(g_directory, sizeof g_directory, directory);
}
void DllSetTicket2(void* h, const char* ticket) {
    (void)h;
    const bool ordinary = strncmp(ticket, "ticket-", strlen("ticket-")) == 0;  // else it breaks other rules, too
    keep(g_ticket, sizeof g_ticket, ordinary ? ticket : "none");
}
void DllSetServer2(void* h, const char* server) {
    (void)h;
    g_kept = server;
    if (breaks("3b") && strchr(server, '%') != NULL)
        crash();
    keep(g_server, sizeof g_server, server);
}
void DllSetDownloadDelegate2(void* h, NebrixDownloadFileTo download) {
    (void)h;
    g_download = download;
}

static void run_with(char* argument) {
    char* words[] = {(char[]){"sh"}, (char[]){"-c"}, (char[]){"sleep 1"}, argument, NULL};
    pid_t child;
    if (posix_spawnp(&child, words[0], NULL, NULL, words, environ) != 0)
        abort();
}

void DllStart2(void* h) {
    (void)h;
    start();
    g_started = true;
    if (breaks("2"))
        g_download("/file", "relative/path");
    if (breaks("4"))
        g_first = *g_kept;
    char name[8192];
    snprintf(name, sizeof name, "%s%s", g_directory, g_ticket);
    if (breaks("12c") && close(open(name, O_CREAT | O_CLOEXEC | O_WRONLY, 0600)) != 0)
        abort();
    if (breaks("12d") && g_starts == 1)
        run_with(g_ticket);
}

void DllStop2(void* h) {
    (void)h;
    if (breaks("13b") && !g_started)
        crash();
    leave_behind();
}

// What a rule's number has the plug-in return, or what is right.
static char* text(const char* rule, const char* wrong, const char* right) {
    return strdup(breaks(rule) ? wrong : right);
}

char* DllGetErrors2(void* h) {
    (void)h;
    char status[sizeof g_ticket + 64];
    snprintf(status, sizeof status, "[{\"code\":5,\"status\":\"connected %s\"}]", g_ticket);
    if (breaks("14c"))
        return memset(calloc((1 << 20) + 2, 1), ' ', (1 << 20) + 1);
    if (breaks("5a"))
        return g_server;
    if (breaks("12b"))
        return strdup(status);
    if (breaks("14a"))
        return strdup("");
    return text("14b", "[{\"code\":8,\"reason\":\"soon\"}]", "[{\"code\":\"5\",\"status\":\"connected\",\"more\":[]}]");
}
char* DllGetLogs2(void* h) {
    (void)h;
    return breaks("12a") ? strdup(g_ticket) : text("3a", "caf\xe9", "caf\xc3\xa9");
}
void DllReleaseStr(char* string) {
    if (breaks("5b") && *string == '\0')
        crash();
    if (string == g_server)
        crash();
    free(string);
}

void nowhere(void);

int DllExecute2(void* h, const char* a, const char* b, const char* c) {
    (void)h, (void)a, (void)b, (void)c;
#ifdef UNDEFINED
    if (h == NULL)
        nowhere();
#endif
    return 0;
}
#endif
