// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/clientwxevent.h"

#include <memory>

#include "apps/nebrixclient/gui/wxtext.h"
#include "libs/base/log.h"
#include "libs/curl/requestinfo.h"

const wxEventTypeTag<wxThreadEvent> EVT_TYPE_CLIENTNOTIFY(wxNewEventType());

void NebrixClientGuiNotifyHandler::queueText(ClientNotifyId id, const tessel::String& text) {
    wxThreadEvent event(EVT_TYPE_CLIENTNOTIFY, id);
    event.SetString(tessel::tesselToWxString(text));
    m_receiver->QueueEvent(event.Clone());
}

void NebrixClientGuiNotifyHandler::queueNumber(ClientNotifyId id, int number) {
    wxThreadEvent event(EVT_TYPE_CLIENTNOTIFY, id);
    event.SetInt(number);
    m_receiver->QueueEvent(event.Clone());
}

void NebrixClientGuiNotifyHandler::onConnectError(const tessel::RequestInfo& request) {
    queueText(ID_CLIENT_CONNECT_ERROR, request.format());
}

void NebrixClientGuiNotifyHandler::onFatalError(const tessel::String& text) { queueText(ID_CLIENT_FATAL_ERROR, text); }

void NebrixClientGuiNotifyHandler::onStatus(const tessel::ClientStatus& status) {
    queueNumber(ID_CLIENT_STATUS, static_cast<int>(status));
}

void NebrixClientGuiNotifyHandler::onVpnStatus(const tessel::String& line) {
    // Mostly each poll brings the one of the poll before, with which the panel would do nothing.
    if (line == m_lastLine) {
        return;
    }
    m_lastLine = line;
    queueText(ID_CLIENT_VPN_STATUS, line);
}

void NebrixClientGuiNotifyHandler::onDispatch(tessel::ClientType type) {
    queueNumber(ID_CLIENT_DISPATCH, static_cast<int>(type));
}

void NebrixClientGuiNotifyHandler::onTransfer(std::uint64_t received, std::uint64_t expected, bool over) noexcept {
    try {
        wxThreadEvent event(EVT_TYPE_CLIENTNOTIFY, ID_CLIENT_TRANSFER);
        event.SetPayload(TransferNews{received, expected, over});
        m_receiver->QueueEvent(event.Clone());
    } catch (...) {
        tessel::log(tessel::LogCategory::Error, "NebrixClientGuiNotifyHandler", "onTransfer", "progress lost");
    }
}

void NebrixClientGuiNotifyHandler::onNextHostCheck(unsigned milliseconds) noexcept {
    try {
        queueNumber(ID_CLIENT_NEXT_CHECK, static_cast<int>(milliseconds));
    } catch (...) {
        tessel::log(tessel::LogCategory::Error, "NebrixClientGuiNotifyHandler", "onNextHostCheck", "time lost");
    }
}

void NebrixClientGuiNotifyHandler::onComponentSilent(bool silent) noexcept {
    try {
        queueNumber(ID_CLIENT_SILENT, silent ? 1 : 0);
    } catch (...) {
        tessel::log(tessel::LogCategory::Error, "NebrixClientGuiNotifyHandler", "onComponentSilent", "silence lost");
    }
}

void NebrixClientGuiNotifyHandler::onSessionEnd(const tessel::SessionEnd& end) noexcept {
    try {
        wxThreadEvent event(EVT_TYPE_CLIENTNOTIFY, ID_CLIENT_ACCOUNT);
        event.SetPayload(end);
        m_receiver->QueueEvent(event.Clone());
    } catch (...) {
        tessel::log(tessel::LogCategory::Error, "NebrixClientGuiNotifyHandler", "onSessionEnd", "account lost");
    }
}
