// SPDX-License-Identifier: MIT
#define _GNU_SOURCE  // POSIX_SPAWN_SETSID, posix_spawn_file_actions_addclosefrom_np
#include "resource.h"

#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

void resource_url(nebrix_text* url, const char* name) {
    static const char kUnreserved[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
    nebrix_text_append(url, "/resources/");
    for (; *name != '\0'; name++) {
        char code[4];
        snprintf(code, sizeof code, "%%%02X", (unsigned)(unsigned char)*name);
        bool unreserved = strchr(kUnreserved, *name) != NULL;
        nebrix_text_append_bytes(url, unreserved ? name : code, unreserved ? 1 : 3);
    }
}

// Neither follows nor fills what somebody else may have laid out under the temporary name.
static bool fetch_into(NebrixDownloadFileTo download, const char* url, const char* partial, const char* final) {
    if (unlink(partial) != 0 && access(partial, F_OK) == 0)
        return false;
    if (download(url, partial) && chmod(partial, S_IRUSR | S_IWUSR) == 0 && rename(partial, final) == 0)
        return true;
    unlink(partial);
    return false;
}

bool resource_fetch(NebrixDownloadFileTo download, const char* url, const char* directory, const char* name,
                    nebrix_text* path) {
    struct stat info;
    nebrix_text partial = NEBRIX_TEXT_INIT(8192);
    nebrix_text_append(path, directory);
    nebrix_text_append(path, "/");
    nebrix_text_append(path, name);
    nebrix_text_append(&partial, directory);
    nebrix_text_append(&partial, "/.partial");
    mkdir(directory, S_IRWXU);
    bool fetched = !path->failed && !partial.failed && lstat(directory, &info) == 0 && S_ISDIR(info.st_mode) &&
                   fetch_into(download, url, nebrix_text_get(&partial), nebrix_text_get(path));
    nebrix_text_free(&partial);
    return fetched;
}

// Takes the viewer's exit status, so that no dead process is left behind.
static void* reap(void* argument) {
    waitpid((pid_t)(intptr_t)argument, NULL, 0);
    return NULL;
}

static void reap_later(pid_t child) {
    pthread_t thread;
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    if (pthread_create(&thread, NULL, reap, (void*)(intptr_t)child) == 0)
        pthread_detach(thread);
    pthread_sigmask(SIG_SETMASK, &before, NULL);
}

bool resource_view(const char* program, const char* file) {
    char argument0[4096];
    char argument1[4096];
    if (snprintf(argument0, sizeof argument0, "%s", program) >= (int)sizeof argument0 ||
        snprintf(argument1, sizeof argument1, "%s", file) >= (int)sizeof argument1)
        return false;
    char* arguments[] = {argument0, argument1, NULL};
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_t actions;
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    pid_t child = 0;
    bool started = posix_spawn(&child, argument0, &actions, &attributes, arguments, environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    if (started)
        reap_later(child);
    return started;
}
