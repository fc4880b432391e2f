// SPDX-License-Identifier: Apache-2.0
// Every plug-in entry that takes the instance and one string, as a list for macros.
#pragma once

// clang-format off
#define PLUGIN_SETTERS(X) \
    X(DllSetDllVersion2) X(DllSetPluginDir2) X(DllSetLogin2) X(DllSetOrganization2) X(DllSetHostname2) \
    X(DllSetServer2) X(DllSetSuffix2) X(DllSetTicket2) X(DllSetSessionId2) X(DllSetCertDirectory2) \
    X(DllSetCertFileName2) X(DllSetCaFileName2) X(DllSetCertPassword2) X(DllSetProxy2)
// clang-format on
