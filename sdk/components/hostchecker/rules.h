// SPDX-License-Identifier: MIT
// The language of the rules request, and its evaluation.
//
// A request is text, one condition per line; line ends are LF or CR LF, words are parted by blanks or tabs:
//
//   ID [not] file PATH                       something is at this absolute path
//   ID [not] process NAME                    a process of this name runs
//   ID [not] os NAME [RELATION VERSION]      operating system, "ID" and "VERSION_ID" of os-release(5)
//   ID [not] kernel NAME [RELATION VERSION]  kernel and its release, such as "kernel Linux >= 5.10"
//   ID [not] package NAME [RELATION VERSION] a package of the dpkg data base is installed
//
// ID: 1 to 64 letters, digits, "-", "_", ".". RELATION: "=", "!=", "<", "<=", ">", ">=". PATH and NAME of a process are
// the rest of the line, blanks inside included. Empty lines and lines that begin with "#" are skipped. Several lines of
// one ID are one rule, which holds if all its lines do.
//
// Refused, always to the side of "does not hold": a line with a readable ID but without a readable condition makes
// its rule not hold; a line without a readable ID is skipped; a request beyond kRequestLimit bytes or kRuleLimit lines
// of conditions holds no rule at all.
#ifndef NEBRIX_HOSTCHECKER_RULES_H
#define NEBRIX_HOSTCHECKER_RULES_H

#include <stdbool.h>

#include "common/text.h"
#include "facts.h"

enum { kRequestLimit = 64 * 1024, kRuleLimit = 256, kIdLimit = 64, kConditionLimit = 1024 };

typedef enum { kConditionNone, kFile, kProcess, kOs, kKernel, kPackage } condition_kind;

typedef struct {
    char id[kIdLimit + 1];
    condition_kind kind;  // kConditionNone: unreadable, never holds
    bool negated;
    char subject[kConditionLimit];
    version_relation relation;
    char wanted[kConditionLimit];
} rule;

// Reads one line of length bytes. False if it is empty, a comment or has no readable ID.
bool rule_parse(const char* line, size_t length, rule* out);

bool rule_holds(const rule* self, facts* machine);

// Appends the IDs of the rules that hold, in the order of their first lines, parted by ",".
void rules_evaluate(const char* request, facts* machine, nebrix_text* answer);

#endif
