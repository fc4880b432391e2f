// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "apps/nebrixclient/account.h"
#include "apps/nebrixclient/notify.h"
#include "apps/nebrixclient/stopflag.h"
#include "libs/json/jsonwrapper.h"

namespace tessel {

/// Turns a tunnel plug-in's status lists, one for each poll, into notifications and into requests to end.
/// Used on the driver's thread.
class PluginStatus {
public:
    /// All must outlive this object. The account hears which close request ended the session.
    PluginStatus(INebrixClientNotify& notify, StopFlag& stop, SessionAccount& account) noexcept
        : m_notify(notify), m_stop(stop), m_account(account) {}

    /// Handles one list. Text that is no such list is logged and otherwise ignored; nothing is raised.
    void process(const String& text) noexcept;

private:
    struct Batch {
        bool hasStatus = false;
        bool hasCloseRequest = false;
    };

    void processMessage(const json::JSONWrapper& message, Batch& batch);
    void processCloseRequest(unsigned reason);
    void close(EndCause cause, unsigned reason);
    void processEnd(const Batch& batch);

    INebrixClientNotify& m_notify;
    StopFlag& m_stop;
    SessionAccount& m_account;
    unsigned m_closeCount = 0;      // consecutive soft close requests
    bool m_statusReported = false;  // set by the first status, for good
};

}  // namespace tessel
