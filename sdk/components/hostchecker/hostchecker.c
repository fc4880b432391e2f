// SPDX-License-Identifier: MIT
// Reference host checker: evaluates the rules of rules.h on this machine.
//
// Does: for each GetValidRules look at files, processes, operating system, kernel and dpkg's data base as they are
// then, and return the IDs of the rules that hold, parted by ",". Reads only; runs no program; keeps nothing between
// calls but the last answer. Does not: use the directory, host name and language given at the start; prove anything to
// the gateway: who controls the machine controls the answer; know packages of other managers than dpkg.
#include "common/text.h"
#include "facts.h"
#include "rules.h"
#define NEBRIX_IMPLEMENT_HOST_CHECKER
#include "nebrix_component.h"

// The last answer, of the calling thread; lives until the next call.
static nebrix_text g_answer = NEBRIX_TEXT_INIT(kRuleLimit * (kIdLimit + 1));

void InitHostCheckerDll(const char* unused1, const char* unused2, const char* directory, const char* hostname,
                        const char* language) {
    (void)unused1, (void)unused2, (void)directory, (void)hostname, (void)language;
}

void CloseHostCheckerDll(void) { nebrix_text_free(&g_answer); }

char* GetValidRules(const char* request) {
    static char nothing[] = "";
    facts machine;
    facts_init(&machine, "");
    nebrix_text_clear(&g_answer);
    rules_evaluate(request == NULL ? "" : request, &machine, &g_answer);
    facts_free(&machine);
    return g_answer.failed || g_answer.data == NULL ? nothing : g_answer.data;
}
