// A host checker that records every call (record.h). The answers of GetValidRules are the lines of the file that the
// environment variable NEBRIX_TEST_RULES names, one a call; without it "rule-a,rule-b".
// Variants by compile definitions: NO_RULES (no GetValidRules), NULL_RULES (it returns null).
#include <stdlib.h>

#include "tests/support/components/record.h"
#define NEBRIX_IMPLEMENT_HOST_CHECKER
#include "sdk/include/nebrix_component.h"

static unsigned g_calls;

void InitHostCheckerDll(const char* unused1, const char* unused2, const char* directory, const char* hostname,
                        const char* language) {
    g_calls = 0;
    record("InitHostCheckerDll", unused1, unused2, directory, hostname, language, NULL);
}

void CloseHostCheckerDll(void) { record("CloseHostCheckerDll", NULL); }

#ifndef NO_RULES
static char* g_answer;

char* GetValidRules(const char* request) {
    record("GetValidRules", request, NULL);
    free(g_answer);
    g_answer = scripted_line("NEBRIX_TEST_RULES", g_calls++, "rule-a,rule-b");
#ifdef NULL_RULES
    return NULL;
#else
    return g_answer;
#endif
}
#endif
