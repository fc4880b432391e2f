// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace tessel {

class CurlSession;

/// The object that fetches, checks, loads and drives one session's component.
class ISubClient {
public:
    /// The component's whole life, on the driver's thread; returns when it is over or stop() was called.
    /// Whatever it raises ends the session as a failure.
    virtual void run(CurlSession& session) = 0;
    /// Asks run() to end; returns at once. Any thread, at any moment from construction to destruction: a call
    /// before run() began is kept.
    virtual void stop() = 0;
    /// Asks the component to show its own logs. Any thread.
    virtual void showLogs() = 0;
    virtual ~ISubClient() = default;
};

}  // namespace tessel
