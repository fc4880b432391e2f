// SPDX-License-Identifier: MIT
// Comparing version texts. Pure functions over any bytes; time is linear in the length.
#ifndef NEBRIX_HOSTCHECKER_VERSION_H
#define NEBRIX_HOSTCHECKER_VERSION_H

#include <stdbool.h>

// Order of two versions as package managers of the Debian family define it (deb-version(7)): epoch, upstream version,
// revision; digits by value, "~" before everything, even the end. Dotted numbers such as "12" and "12.4" order as
// expected. Negative, 0 or positive.
int version_compare(const char* a, const char* b);

typedef enum { kRelationNone, kEqual, kNotEqual, kLess, kLessOrEqual, kGreater, kGreaterOrEqual } version_relation;

// From "=", "!=", "<", "<=", ">" or ">="; kRelationNone for anything else.
version_relation version_relation_parse(const char* text);

// Whether version stands in that relation to wanted. Without a version no relation holds; kRelationNone always does.
bool version_satisfies(const char* version, version_relation relation, const char* wanted);

#endif
