// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "apps/component/moduleloader.h"
#include "sdk/include/nebrix_component.h"

namespace tessel {

/// A host checker refused to start. Its entries of today cannot say so, and nothing raises it.
TESSEL_EXCEPTION(EHostCheckerDllInstance, Exception);

/// A loaded host checker: its three entries, all required. All calls are made on the thread that uses this object.
class HostCheckerDllInstance {
public:
    /// Opens a verified library. Raises EModuleLoader.
    explicit HostCheckerDllInstance(const LibrarySource& library);
    virtual ~HostCheckerDllInstance() = default;
    HostCheckerDllInstance(const HostCheckerDllInstance&) = delete;
    HostCheckerDllInstance& operator=(const HostCheckerDllInstance&) = delete;

    void start(const String& directory, const String& hostname, const String& language);
    void stop();
    /// The rules that hold, in the host checker's own form. Its text is copied and never given back. Of more than
    /// kLongestComponentText bytes one more than that is copied, so that it can be told from a whole text.
    String getValidRules(const String& request);

private:
    ModuleLoader m_loader;
    ComponentEntry<NebrixInitHostCheckerDll> m_init;
    ComponentEntry<NebrixCloseHostCheckerDll> m_close;
    ComponentEntry<NebrixGetValidRules> m_getValidRules;
};

}  // namespace tessel
