#pragma once

#include "libs/base/string.h"

namespace tessel {

class RequestInfo;

/// How far a session is. The numbers are fixed.
enum class ClientStatus : int { Idle = 1, DownloadingComponents = 2, Connected = 3, SessionOver = 4, HostChecking = 5 };

/// What kind of component a session runs. The numbers are fixed.
enum class ClientType : int { PluginDll = 2, HostChecker = 3, PluginDllNoTunnel = 4 };

/// The user interface's ear: every outcome of a session comes through here.
///
/// All calls are made on the driver's thread "nebrixclient", one at a time. An implementation must return soon, must
/// not raise, and hands over to its own thread what takes longer. It outlives the driver.
class INebrixClientNotify {
public:
    /// The gateway could not be asked: the mediation request failed at the transport level.
    virtual void onConnectError(const RequestInfo& request) = 0;
    /// The session ended in a failure. The text is always empty: what happened stands in the log.
    virtual void onFatalError(const String& text) = 0;
    virtual void onStatus(const ClientStatus& status) = 0;
    /// A status line of the tunnel plug-in; empty when a poll brought none after an earlier one did.
    virtual void onVpnStatus(const String& line) = 0;
    /// The gateway chose this component; its object is built next.
    virtual void onDispatch(ClientType type) = 0;
    virtual ~INebrixClientNotify() = default;
};

}  // namespace tessel
