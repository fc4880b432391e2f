// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "apps/nebrix-demo-gateway/options.h"

namespace tessel::gateway {

/// One component as the gateway serves it: its archive in memory and the keys that announce it. A value type, constant
/// after construction.
struct ServedComponent {
    /// Empty when there is no library, or when the fault says that there is no archive.
    std::string archive;
    std::string filename;
    std::string md5;
    /// The URL path's beginning, which the file name follows directly.
    std::string urlPath;
    /// The library's name in the archive.
    std::string pattern;
    std::string version;
};

/// Signs and packs the type's library, with the faults of the options. The scratch directory is used for intermediate
/// files. Raises ESign when a key cannot be used, EFile when the library cannot be read.
ServedComponent packComponent(const GatewayOptions& options, ComponentType type, const std::string& scratch);

}  // namespace tessel::gateway
