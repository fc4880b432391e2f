// SPDX-License-Identifier: Apache-2.0
// A host checker that records every call (record.h). GetValidRules answers "rule-a,rule-b".
// Variants by compile definitions: NO_RULES (no GetValidRules), NULL_RULES (it returns null).
// While the environment has NEBRIX_TEST_BLOCK, it never answers; NEBRIX_TEST_RULES is the length of another answer.
#define _POSIX_C_SOURCE 200809L
#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "tests/support/components/record.h"
#define NEBRIX_IMPLEMENT_HOST_CHECKER
#include "sdk/include/nebrix_component.h"

void InitHostCheckerDll(const char* unused1, const char* unused2, const char* directory, const char* hostname,
                        const char* language) {
    record("InitHostCheckerDll", unused1, unused2, directory, hostname, language, NULL);
}

void CloseHostCheckerDll(void) { record("CloseHostCheckerDll", NULL); }

#ifndef NO_RULES
char* GetValidRules(const char* request) {
    record("GetValidRules", request, NULL);
    while (getenv("NEBRIX_TEST_BLOCK") != NULL)
        pause();
#ifdef NULL_RULES
    return NULL;
#else
    static char answer[] = "rule-a,rule-b";
    const char* length = getenv("NEBRIX_TEST_RULES");
    char* other = length == NULL ? NULL : calloc(strtoul(length, NULL, 10) + 1, 1);
    return other == NULL ? answer : memset(other, 'r', strtoul(length, NULL, 10));
#endif
}
#endif
