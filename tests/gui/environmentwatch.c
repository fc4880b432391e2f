// SPDX-License-Identifier: Apache-2.0
// Preloaded into a program, ends it where the environment's variables move while it has several threads: another one
// that reads them then may read freed memory, which ends a program too, but once in some hundred starts.
#define _GNU_SOURCE
#include <dirent.h>
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

extern char** environ;

static int has_threads(void) {
    int entries = 0;
    DIR* const tasks = opendir("/proc/self/task");
    while (tasks != NULL && readdir(tasks) != NULL) {
        ++entries;
    }
    if (tasks != NULL) {
        closedir(tasks);
    }
    return entries > 3;  // itself and the directory above are entries too
}

/// The variable's place in the environment, of `length` characters' name; the end's where it is not there.
static char** place_of(const char* name, size_t length) {
    char** place = environ;
    while (*place != NULL && (strncmp(*place, name, length) != 0 || (*place)[length] != '=')) {
        ++place;
    }
    return place;
}

static void refuse(const char* what, const char* name) {
    fprintf(stderr, "%s %s while there are threads\n", name, what);
    abort();
}

static void check_set(const char* name, size_t length) {
    if (*place_of(name, length) == NULL && has_threads()) {
        refuse("added", name);
    }
}

int setenv(const char* name, const char* value, int overwrite) {
    int (*next)(const char*, const char*, int) = NULL;
    *(void**)&next = dlsym(RTLD_NEXT, "setenv");
    check_set(name, strlen(name));
    return next(name, value, overwrite);
}

int putenv(char* variable) {
    int (*next)(char*) = NULL;
    *(void**)&next = dlsym(RTLD_NEXT, "putenv");
    check_set(variable, strcspn(variable, "="));
    return next(variable);
}

int unsetenv(const char* name) {
    int (*next)(const char*) = NULL;
    *(void**)&next = dlsym(RTLD_NEXT, "unsetenv");
    char** const place = place_of(name, strlen(name));
    if (*place != NULL && place[1] != NULL && has_threads()) {
        refuse("taken from before others", name);
    }
    return next(name);
}
