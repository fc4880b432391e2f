// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "apps/component/sites.h"

/// Where the core raises and catches: lines that administrators know from logs, kept here whatever becomes of the code.
namespace tessel::sites {

inline constexpr const char* kClient = "apps/nebrixclient/client";
inline constexpr RaiseSite kMediationNotJson{kClient, 59};
inline constexpr RaiseSite kMediationMissingKey{kClient, 62};
inline constexpr RaiseSite kBadDllSignature{kClient, 78};
inline constexpr RaiseSite kMainCatch{kClient, 160};
inline constexpr RaiseSite kClientDirectoryCatch{kClient, 40};

inline constexpr RaiseSite kUnknownConfigurationType{"apps/nebrixclient/clientconfiguration", 90};
inline constexpr RaiseSite kLocalConfigurationCatch{"apps/nebrixclient/clientlocalconfiguration", 58};

inline constexpr RaiseSite kManagedSettings{"apps/nebrixclient/managedsettings", 71};
inline constexpr RaiseSite kManagedCatch{"apps/nebrixclient/managedsettings", 118};
inline constexpr RaiseSite kTlsFiles{"apps/nebrixclient/tlsfiles", 33};

inline constexpr const char* kSignedDll = "apps/nebrixclient/signeddll";
inline constexpr RaiseSite kSignatureMissing{kSignedDll, 74};
inline constexpr RaiseSite kSignatureUnreadable{kSignedDll, 81};
inline constexpr RaiseSite kSignatureMissingKey{kSignedDll, 84};
inline constexpr RaiseSite kSignatureNotXml{kSignedDll, 87};
inline constexpr RaiseSite kSignatureUnhandled{kSignedDll, 90};
inline constexpr RaiseSite kSignedDllRead{kSignedDll, 40};

inline constexpr RaiseSite kPluginStatusCatch{"apps/nebrixclient/plugindllclient", 238};
inline constexpr RaiseSite kPluginProxyCatch{"apps/nebrixclient/plugindllclient", 121};

inline constexpr const char* kDownloadManager = "apps/nebrixclient/downloadmanager";
inline constexpr RaiseSite kRefusedName{kDownloadManager, 30};
inline constexpr RaiseSite kDownloadWriteCatch{kDownloadManager, 88};
inline constexpr RaiseSite kDownloadCallbackCatch{kDownloadManager, 120};
inline constexpr const char* kComponentDownload = "apps/nebrixclient/componentdownload";
inline constexpr RaiseSite kComponentFileCatch{kComponentDownload, 70};
inline constexpr RaiseSite kComponentCheckCatch{kComponentDownload, 96};

inline constexpr const char* kComponentProcess = "apps/nebrixclient/componentprocess";
inline constexpr RaiseSite kComponentStart{kComponentProcess, 205};
inline constexpr RaiseSite kComponentGone{kComponentProcess, 318};
inline constexpr RaiseSite kComponentAnswer{kComponentProcess, 251};
inline constexpr RaiseSite kComponentVersion{kComponentProcess, 266};
inline constexpr RaiseSite kComponentChannelCatch{kComponentProcess, 255};
inline constexpr RaiseSite kOlderComponent{"apps/nebrixclient/componentversions", 68};
inline constexpr RaiseSite kRememberedCatch{"apps/nebrixclient/rememberedcomponents", 49};

inline constexpr RaiseSite kHostcheckerCatch{"apps/nebrixclient/hostcheckerclient", 96};

}  // namespace tessel::sites
