// SPDX-License-Identifier: MIT
// What is so on this machine: files, processes, operating system, installed packages.
//
// Each kind is read when it is first asked for and then kept, so one evaluation sees one picture and reads every list
// once. Nothing is written, no program is run, nothing needs privileges. Everything lies below a root directory, ""
// for the machine itself. Not synchronised.
#ifndef NEBRIX_HOSTCHECKER_FACTS_H
#define NEBRIX_HOSTCHECKER_FACTS_H

#include <stdbool.h>
#include <stddef.h>

#include "version.h"

typedef struct {
    char* name;
    char* version;  // "" where there is none
} fact;

// Sorted by name; owns its strings.
typedef struct {
    fact* items;
    size_t count;
    size_t capacity;
    bool loaded;
} fact_list;

typedef struct {
    const char* root;  // the caller's
    fact_list processes;
    fact_list packages;
    fact_list os;      // one at most
    fact_list kernel;  // one at most
} facts;

void facts_init(facts* self, const char* root);
void facts_free(facts* self);

// Whether something of any kind is at path, an absolute path; links are followed.
bool facts_file_exists(const facts* self, const char* path);

// Whether a process runs whose name is name: the kernel's name for it (at most 15 bytes), the file name of its program,
// or the file name in its first argument. Processes that this user may not look into have only the first and the last.
bool facts_process_runs(facts* self, const char* name);

// Whether the operating system is name ("ID" in os-release(5)) and its "VERSION_ID" satisfies the relation.
bool facts_os_is(facts* self, const char* name, version_relation relation, const char* wanted);

// Whether the kernel is name, such as "Linux", and its release satisfies the relation.
bool facts_kernel_is(facts* self, const char* name, version_relation relation, const char* wanted);

// Whether package name is installed, in any architecture, in a version that satisfies the relation. Knows the dpkg
// data base only.
bool facts_package_installed(facts* self, const char* name, version_relation relation, const char* wanted);

#endif
