// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "apps/component/plugindllinstance.h"
#include "apps/nebrixclient/componentprocess.h"

namespace tessel {

/// A plug-in in the component's process: the operations of PluginDllInstance, each of which also raises what
/// ComponentProcess::call() does. The process must outlive it.
class PluginProcess {
public:
    using Parameters = PluginDllInstance::Parameters;

    /// Has the verified library loaded and the instance made.
    PluginProcess(ComponentProcess& process, const SealedFile& library, const String& version, const String& pluginDir);

    /// The download delegate is the process's own.
    void start(const Parameters& parameters);
    /// What the plug-in noted for itself by then (DllGetLogs2). Both entries together have the time of a stop.
    String stop();
    void setProxy(bool useProxy, const Proxy& proxy);
    String getErrors();
    int LaunchSafeResource(int id, const String& name);

private:
    ComponentProcess& m_process;
};

/// A host checker there: the operations of HostCheckerDllInstance.
class HostCheckerProcess {
public:
    HostCheckerProcess(ComponentProcess& process, const SealedFile& library);

    void start(const String& directory, const String& hostname, const String& language);
    void stop();
    String getValidRules(const String& request);

private:
    ComponentProcess& m_process;
};

}  // namespace tessel
