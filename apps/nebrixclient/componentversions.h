// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "apps/nebrixclient/clientconfiguration.h"
#include "apps/nebrixclient/signeddll.h"

namespace tessel {

class NebrixClient;

/// A component was signed before the one that ran last, and such a one is not to run.
TESSEL_EXCEPTION(EOlderComponent, Exception);

/// Compares what was signed of a genuine component with what the gateway announces of it and with the component that
/// ran last, for one type of component and the gateway of the session. Used on the driver's thread.
class ComponentVersions {
public:
    /// `className` is what log lines show. The client must outlive this object.
    ComponentVersions(NebrixClient& client, const char* className, String type);

    /// What differs is a warning in the log. An older signing date than the last one's, or none that can be compared,
    /// goes into the account as well and raises EOlderComponent where the settings or the build refuse it.
    void judge(const Dll& announced, const VerifiedComponent& component) const;
    /// Once the component runs. One whose signing date cannot be read, or lies ahead of this machine's clock by more
    /// than a day, is not remembered: nothing could be older than it, or everything would be. Raises only for want of
    /// memory.
    void remember(const DllInfos& infos) const;

private:
    void warn(const String& text) const;
    void compareAnnounced(const Dll& announced, const DllInfos& infos) const;
    void compareLast(const String& library, const DllInfos& infos) const;

    NebrixClient& m_client;
    const char* const m_className;
    const String m_type;
};

}  // namespace tessel
