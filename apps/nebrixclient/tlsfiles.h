// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "apps/nebrixclient/localsettings.h"
#include "apps/nebrixclient/settingsfile.h"

namespace tessel {

struct TlsCredentials;

/// Reads the files, each of 1 MiB at most, and checks that they can be used together today; null where none is named.
/// A relative path is meant from the current directory. Raises ESettingsFile with the path of the one that cannot be
/// used. The log names the files and whose the certificate is.
std::shared_ptr<const TlsCredentials> readTlsFiles(const TlsFiles& files);

}  // namespace tessel
