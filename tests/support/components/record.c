#define _POSIX_C_SOURCE 200809L
#include "tests/support/components/record.h"

#include <fcntl.h>
#include <stdarg.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

__attribute__((constructor)) static void leave_mark(void) {
    const char* path = getenv("NEBRIX_TEST_MARK");
    if (path != NULL)
        close(open(path, O_WRONLY | O_CREAT, 0600));
}

// One write per line, so that lines of several threads do not mix.
void record(const char* entry, ...) {
    char line[8192];
    size_t length = strlen(entry);
    const char* path = getenv("NEBRIX_TEST_CALLS");
    int file = path == NULL ? -1 : open(path, O_WRONLY | O_CREAT | O_APPEND, 0600);
    va_list arguments;
    va_start(arguments, entry);
    memcpy(line, entry, length);
    for (const char* at; (at = va_arg(arguments, const char*)) != NULL && length < sizeof line - 4;) {
        line[length++] = '\t';
        for (; *at != '\0' && length < sizeof line - 4; at++) {
            char letter = *at == '\t' ? 't' : *at == '\n' ? 'n' : *at;
            if (letter != *at || letter == '\\')
                line[length++] = '\\';
            line[length++] = letter;
        }
    }
    va_end(arguments);
    line[length++] = '\n';
    if (file >= 0) {
        if (write(file, line, length) != (ssize_t)length)
            perror("record");
        close(file);
    }
}

char* scripted_line(const char* variable, unsigned index, const char* fallback) {
    const char* path = getenv(variable);
    FILE* file = path == NULL ? NULL : fopen(path, "re");
    char* line = NULL;
    size_t capacity = 0;
    if (file == NULL)
        return strdup(fallback);
    bool any = false;
    for (unsigned i = 0; i <= index && getline(&line, &capacity, file) >= 0; i++) {
        line[strcspn(line, "\n")] = '\0';
        any = true;
    }
    fclose(file);
    if (any)
        return line;
    free(line);
    return strdup(fallback);
}
