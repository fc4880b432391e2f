// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

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

/// A second ear, for what is on its way rather than an outcome. Calls come on the driver's thread, those for a file
/// that a component fetches itself on the component's; several may come at once. It must return at once, must not
/// raise, and outlives the driver.
class IProgressNotify {
public:
    /// A file is being fetched: at its beginning with 0 bytes received, at most ten times a second after that, and at
    /// its end, whatever that is, with `over`. `expected` is 0 while nobody knows.
    virtual void onTransfer(std::uint64_t received, std::uint64_t expected, bool over) noexcept = 0;
    /// The next host check begins in so many milliseconds.
    virtual void onNextHostCheck(unsigned milliseconds) noexcept = 0;
    /// The component does not answer; it may come back, which is told too.
    virtual void onComponentSilent(bool silent) noexcept = 0;
    virtual ~IProgressNotify() = default;
};

}  // namespace tessel
