// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <wx/event.h>

#include "apps/nebrixclient/account.h"
#include "apps/nebrixclient/notify.h"

/// The type of every event that the session driver's thread sends to the windows.
extern const wxEventTypeTag<wxThreadEvent> EVT_TYPE_CLIENTNOTIFY;

/// Which notification an event is. Texts ride in its string, numbers in its integer, what is else in its payload.
enum ClientNotifyId : int {
    ID_CLIENT_CONNECT_ERROR = 1,  ///< string: the failed request's description
    ID_CLIENT_STATUS = 2,         ///< integer: the driver status
    ID_CLIENT_VPN_STATUS = 3,     ///< string: a status line of the tunnel plug-in
    ID_CLIENT_FATAL_ERROR = 4,    ///< string: the error text
    ID_CLIENT_DISPATCH = 5,       ///< integer: the component type
    ID_CLIENT_TRANSFER = 6,       ///< payload: TransferNews
    ID_CLIENT_NEXT_CHECK = 7,     ///< integer: milliseconds until the next host check
    ID_CLIENT_SILENT = 9,         ///< integer: 1 when the component does not answer, 0 when it does again
    ID_CLIENT_ACCOUNT = 8,        ///< payload: tessel::SessionEnd; comes right before the event that ends the attempt
};

/// How far a download is.
struct TransferNews {
    std::uint64_t received = 0;
    std::uint64_t expected = 0;  ///< 0 while nobody knows
    bool over = false;
};

/// The one hand-over to the GUI thread: turns each notification into an event and queues it on the receiver, which
/// outlives this object. A status line of the plug-in that repeats the last one is left out: while nothing happens
/// nobody wakes. Called on the driver's and the components' threads; never waits, touches no window.
class NebrixClientGuiNotifyHandler final : public tessel::INebrixClientNotify,
                                           public tessel::IProgressNotify,
                                           public tessel::IAccountNotify {
public:
    explicit NebrixClientGuiNotifyHandler(wxEvtHandler* receiver) : m_receiver(receiver) {}

    void onConnectError(const tessel::RequestInfo& request) override;
    void onFatalError(const tessel::String& text) override;
    void onStatus(const tessel::ClientStatus& status) override;
    void onVpnStatus(const tessel::String& line) override;
    void onDispatch(tessel::ClientType type) override;

    void onTransfer(std::uint64_t received, std::uint64_t expected, bool over) noexcept override;
    void onNextHostCheck(unsigned milliseconds) noexcept override;
    void onComponentSilent(bool silent) noexcept override;
    void onSessionEnd(const tessel::SessionEnd& end) noexcept override;

private:
    void queueText(ClientNotifyId id, const tessel::String& text);
    void queueNumber(ClientNotifyId id, int number);

    wxEvtHandler* const m_receiver;
    tessel::String m_lastLine;  // of the plug-in; of the driver's thread
};
