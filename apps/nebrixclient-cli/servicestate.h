// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "apps/nebrixclient/account.h"
#include "apps/nebrixclient/notify.h"

namespace tessel {

/// What a service manager is told of a session, in the lines of sd_notify(3): STATUS= whenever that changes, and
/// READY=1 once when the session does what it is for. A tunnel is ready when the plug-in reports it as connected, a
/// host checker when it checks, a plug-in without tunnel when it has done its work.
///
/// Each call returns a message, which is empty when there is nothing to tell. Used on one thread.
class ServiceState {
public:
    /// A message of its own at the end: of READY and STOPPING in one, systemd hears the last alone, and a service that
    /// was never ready has failed for it.
    static constexpr const char* kStopping = "STOPPING=1\n";

    String onStatus(ClientStatus status);
    /// A line of the plug-in's status.
    String onVpn(const String& line);
    /// `wanted`: as the exit code will say.
    String onEnd(const SessionEnd& end, bool wanted);

private:
    String message(const String& status, bool ready);

    bool m_ready = false;
    std::optional<String> m_status;
};

}  // namespace tessel
