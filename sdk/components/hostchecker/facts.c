// SPDX-License-Identifier: MIT
#define _POSIX_C_SOURCE 200809L
#include "facts.h"

#include <dirent.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/text.h"

enum { kPathLimit = 8192, kLineLimit = 4096, kValueLimit = 256, kFactLimit = 1 << 20 };

void facts_init(facts* self, const char* root) {
    memset(self, 0, sizeof *self);
    self->root = root;
}

static void list_free(fact_list* list) {
    for (size_t i = 0; i < list->count; i++) {
        free(list->items[i].name);
        free(list->items[i].version);
    }
    free(list->items);
}

void facts_free(facts* self) {
    list_free(&self->processes);
    list_free(&self->packages);
    list_free(&self->os);
    list_free(&self->kernel);
    facts_init(self, "");
}

// A fact that finds no memory is not there.
static void list_add(fact_list* list, const char* name, const char* version) {
    if (*name == '\0' || list->count == kFactLimit)
        return;
    if (list->count == list->capacity) {
        size_t capacity = list->capacity == 0 ? 64 : list->capacity * 2;
        fact* items = realloc(list->items, capacity * sizeof *items);
        if (items == NULL)
            return;
        list->items = items;
        list->capacity = capacity;
    }
    fact* item = &list->items[list->count];
    item->name = strdup(name);
    item->version = strdup(version);
    if (item->name != NULL && item->version != NULL) {
        list->count++;
    } else {
        free(item->name);
        free(item->version);
    }
}

static int by_name(const void* a, const void* b) { return strcmp(((const fact*)a)->name, ((const fact*)b)->name); }

static void list_sort(fact_list* list) {
    if (list->count > 1)
        qsort(list->items, list->count, sizeof *list->items, by_name);
}

static bool list_has(const fact_list* list, const char* name, version_relation relation, const char* wanted) {
    size_t low = 0;
    for (size_t high = list->count; low < high;) {
        size_t middle = low + (high - low) / 2;
        if (strcmp(list->items[middle].name, name) < 0)
            low = middle + 1;
        else
            high = middle;
    }
    for (; low < list->count && strcmp(list->items[low].name, name) == 0; low++) {
        if (version_satisfies(list->items[low].version, relation, wanted))
            return true;
    }
    return false;
}

// root and the other parts joined; false if that is too long.
static bool join(char path[kPathLimit], const char* root, const char* a, const char* b, const char* c) {
    int length = snprintf(path, kPathLimit, "%s%s%s%s", root, a, b, c);
    return length >= 0 && length < kPathLimit;
}

static FILE* open_below(const facts* self, const char* a, const char* b, const char* c) {
    char path[kPathLimit];
    return join(path, self->root, a, b, c) ? fopen(path, "re") : NULL;
}

// The first line of a file without its end, at most kLineLimit - 1 bytes; "" if there is none.
static void read_line(const facts* self, const char* a, const char* b, const char* c, char line[kLineLimit]) {
    FILE* file = open_below(self, a, b, c);
    line[0] = '\0';
    if (file == NULL)
        return;
    if (fgets(line, kLineLimit, file) == NULL)
        line[0] = '\0';
    line[strcspn(line, "\n")] = '\0';
    fclose(file);
}

// A value that does not fit is no value: a cut version would compare wrongly.
static void keep(char out[kValueLimit], const char* value) {
    size_t length = strlen(value);
    if (length >= kValueLimit)
        length = 0;
    memcpy(out, value, length);
    out[length] = '\0';
}

bool facts_file_exists(const facts* self, const char* path) {
    char whole[kPathLimit];
    struct stat info;
    return join(whole, self->root, path, "", "") && stat(whole, &info) == 0;
}

// ---- Processes ----

static const char* base_name(const char* path) {
    const char* slash = strrchr(path, '/');
    return slash == NULL ? path : slash + 1;
}

static void add_process(facts* self, const char* pid) {
    static const char kDeleted[] = " (deleted)";
    char text[kLineLimit];
    char path[kPathLimit];
    read_line(self, "/proc/", pid, "/comm", text);
    list_add(&self->processes, text, "");
    // A process may write anything over its arguments; a text with blanks is a title, not a file name.
    read_line(self, "/proc/", pid, "/cmdline", text);
    if (strchr(text, ' ') == NULL)
        list_add(&self->processes, base_name(text), "");
    ssize_t length = join(path, self->root, "/proc/", pid, "/exe") ? readlink(path, text, sizeof text - 1) : -1;
    if (length <= 0)
        return;
    text[length] = '\0';
    size_t suffix = sizeof kDeleted - 1;
    if ((size_t)length > suffix && strcmp(text + length - suffix, kDeleted) == 0)
        text[(size_t)length - suffix] = '\0';
    list_add(&self->processes, base_name(text), "");
}

static void load_processes(facts* self) {
    char path[kPathLimit];
    DIR* directory = join(path, self->root, "/proc", "", "") ? opendir(path) : NULL;
    if (directory == NULL)
        return;
    for (const struct dirent* entry; (entry = readdir(directory)) != NULL;) {
        if (strspn(entry->d_name, "0123456789") == strlen(entry->d_name))
            add_process(self, entry->d_name);
    }
    closedir(directory);
    list_sort(&self->processes);
}

bool facts_process_runs(facts* self, const char* name) {
    if (!self->processes.loaded)
        load_processes(self);
    self->processes.loaded = true;
    return list_has(&self->processes, name, kRelationNone, "");
}

// ---- Operating system and kernel ----

// The value of a line KEY=VALUE without quotes around it, or null if the line has another key. Changes the line.
static const char* os_release_value(char* line, const char* key) {
    size_t length = strlen(key);
    if (strncmp(line, key, length) != 0 || line[length] != '=')
        return NULL;
    char* value = line + length + 1;
    size_t size = strcspn(value, "\r\n");
    value[size] = '\0';
    if (size >= 2 && (value[0] == '"' || value[0] == '\'') && value[size - 1] == value[0]) {
        value[size - 1] = '\0';
        value++;
    }
    return value;
}

static void load_os(facts* self) {
    char line[kLineLimit];
    char id[kValueLimit] = "linux";
    char version[kValueLimit] = "";
    FILE* file = open_below(self, "/etc/os-release", "", "");
    if (file == NULL)
        file = open_below(self, "/usr/lib/os-release", "", "");
    if (file == NULL)
        return;
    while (fgets(line, sizeof line, file) != NULL) {
        const char* value;
        if ((value = os_release_value(line, "ID")) != NULL)
            keep(id, value);
        else if ((value = os_release_value(line, "VERSION_ID")) != NULL)
            keep(version, value);
    }
    fclose(file);
    list_add(&self->os, id, version);
}

bool facts_os_is(facts* self, const char* name, version_relation relation, const char* wanted) {
    if (!self->os.loaded)
        load_os(self);
    self->os.loaded = true;
    return list_has(&self->os, name, relation, wanted);
}

bool facts_kernel_is(facts* self, const char* name, version_relation relation, const char* wanted) {
    if (!self->kernel.loaded) {
        char type[kLineLimit];
        char release[kLineLimit];
        read_line(self, "/proc/sys/kernel/ostype", "", "", type);
        read_line(self, "/proc/sys/kernel/osrelease", "", "", release);
        list_add(&self->kernel, type, release);
    }
    self->kernel.loaded = true;
    return list_has(&self->kernel, name, relation, wanted);
}

// ---- Packages ----

typedef struct {
    char name[kValueLimit];
    char version[kValueLimit];
    bool installed;
} paragraph;

static void take_field(paragraph* package, const char* line) {
    if (strncmp(line, "Package: ", 9) == 0)
        keep(package->name, line + 9);
    else if (strncmp(line, "Version: ", 9) == 0)
        keep(package->version, line + 9);
    else if (strncmp(line, "Status: ", 8) == 0)
        // Three words: what is wanted, an error flag, the state.
        package->installed = strcmp(strrchr(line, ' '), " installed") == 0;
}

static void end_paragraph(facts* self, paragraph* package) {
    if (package->installed)
        list_add(&self->packages, package->name, package->version);
    memset(package, 0, sizeof *package);
}

static void load_packages(facts* self) {
    char line[kLineLimit];
    paragraph package;
    bool at_line_start = true;
    FILE* file = open_below(self, "/var/lib/dpkg/status", "", "");
    if (file == NULL)
        return;
    memset(&package, 0, sizeof package);
    while (fgets(line, sizeof line, file) != NULL) {
        bool starts = at_line_start;
        size_t length = strcspn(line, "\n");
        at_line_start = line[length] == '\n';
        line[length] = '\0';
        if (starts && length == 0)
            end_paragraph(self, &package);
        else if (starts)
            take_field(&package, line);
    }
    end_paragraph(self, &package);
    fclose(file);
    list_sort(&self->packages);
}

bool facts_package_installed(facts* self, const char* name, version_relation relation, const char* wanted) {
    if (!self->packages.loaded)
        load_packages(self);
    self->packages.loaded = true;
    return list_has(&self->packages, name, relation, wanted);
}
