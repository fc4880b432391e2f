// SPDX-License-Identifier: Apache-2.0
#define _POSIX_C_SOURCE 200809L
#include "tests/support/components/record.h"

#include <fcntl.h>
#include <libgen.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

// A host checker writes in its own directory only, which a plug-in's session does not make.
static int open_named(const char* variable) {
    const char* path = getenv(variable);
    if (path == NULL)
        return -1;
    char* directory = strdup(path);
    mkdir(dirname(directory), 0700);
    free(directory);
    return open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
}

__attribute__((constructor)) static void leave_mark(void) { close(open_named("NEBRIX_TEST_MARK")); }

void record(const char* entry, ...) {
    const int descriptor = open_named("NEBRIX_TEST_CALLS");
    FILE* file = descriptor < 0 ? NULL : fdopen(descriptor, "a");
    if (file == NULL)
        return;
    fputs(entry, file);
    va_list arguments;
    va_start(arguments, entry);
    for (const char* at; (at = va_arg(arguments, const char*)) != NULL;)
        fprintf(file, "\t%s", at);
    va_end(arguments);
    fputc('\n', file);
    fclose(file);
}
