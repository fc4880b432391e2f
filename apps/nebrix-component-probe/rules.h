// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace tessel::probe {

/// The rules of sdk/include/nebrix_component.h that a program can check, in the order of their numbers there. A number
/// travels between two programs of one version and is nowhere kept.
enum class Rule : std::int32_t {
    AnyThread,         // 1a
    InTime,            // 1b
    Download,          // 2
    Utf8,              // 3a
    AnyBytes,          // 3b
    ClientStrings,     // 4
    OwnStrings,        // 5a
    ReleaseNull,       // 5b
    LastingRules,      // 6a
    BoundedRules,      // 6b
    Entries,           // 8
    NextSession,       // 9
    NoException,       // 10a
    NoEnd,             // 10b
    Directory,         // 10c
    Locale,            // 10d
    Signals,           // 10e
    Environment,       // 10f
    Streams,           // 10g
    Loading,           // 11
    SecretInText,      // 12a
    SecretInStatus,    // 12b
    SecretInName,      // 12c
    SecretInArgument,  // 12d
    Again,             // 13a
    StopAnyTime,       // 13b
    NothingLeft,       // 13c
    NoMemoryLeft,      // 13d
    StatusList,        // 14a
    StatusMembers,     // 14b
    StatusLength,      // 14c
    Count
};

}  // namespace tessel::probe
