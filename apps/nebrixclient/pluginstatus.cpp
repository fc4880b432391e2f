// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/pluginstatus.h"

#include "apps/nebrixclient/plugindllclient.h"
#include "apps/nebrixclient/sites.h"
#include "libs/base/log.h"
#include "libs/base/numbers.h"

namespace tessel {

namespace {

/// A plug-in that keeps asking for this long, in milliseconds, is believed.
constexpr unsigned kSoftClose = 3000;

bool isHardReason(unsigned reason) { return reason == 1 || reason == 2 || reason == 4; }

}  // namespace

void PluginStatus::process(const String& text) noexcept {
    try {
        const json::JSONWrapperFromString list(text);
        Batch batch;
        for (const json::JSONWrapper& message : list) {
            processMessage(message, batch);
        }
        processEnd(batch);
    } catch (const Exception& caught) {
        logCaught(caught, sites::kPluginStatusCatch);
    } catch (...) {
        log(LogCategory::Error, "NebrixClientPluginDll", "processPluginStatus", "unhandled exception");
    }
}

void PluginStatus::processMessage(const json::JSONWrapper& message, Batch& batch) {
    switch (toInt32(message["code"].asString(), 10)) {
        case NEBRIX_MESSAGE_STATUS:
            m_notify.onVpnStatus(message["status"].asString());
            m_statusReported = true;
            batch.hasStatus = true;
            break;
        case NEBRIX_MESSAGE_CLOSE_REQUEST:
            processCloseRequest(toUint32(message["reason"].asString(), 10));
            batch.hasCloseRequest = true;
            break;
        default:
            break;
    }
}

void PluginStatus::processCloseRequest(unsigned reason) {
    if (isHardReason(reason)) {
        close(EndCause::AskedAtOnce, reason);
        return;
    }
    ++m_closeCount;
    if (m_closeCount * NebrixClientPluginDll::kPollInterval >= kSoftClose) {
        close(EndCause::AskedAgain, reason);
    }
}

void PluginStatus::close(EndCause cause, unsigned reason) {
    m_account.record({.kind = EndKind::Component, .cause = cause, .number = static_cast<int>(reason)});
    m_stop.request();
}

void PluginStatus::processEnd(const Batch& batch) {
    if (m_closeCount != 0 && !batch.hasCloseRequest) {
        m_closeCount = 0;
        log(LogCategory::Trace, "NebrixClientPluginDll", "processPluginStatus", "closeRequest canceled");
    }
    if (m_statusReported && !batch.hasStatus) {
        m_notify.onVpnStatus(String::null);
    }
}

}  // namespace tessel
