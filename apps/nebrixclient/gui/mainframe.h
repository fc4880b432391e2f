// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <wx/frame.h>
#include <wx/weakref.h>

#include <memory>

#include "apps/nebrixclient/client.h"
#include "apps/nebrixclient/gui/backgroundworker.h"
#include "apps/nebrixclient/gui/clientwxevent.h"
#include "apps/nebrixclient/gui/logwindow.h"
#include "apps/nebrixclient/gui/notificationpanel.h"
#include "apps/nebrixclient/gui/quitsequence.h"
#include "apps/nebrixclient/gui/sessionend.h"
#include "apps/nebrixclient/gui/statuswindow.h"
#include "apps/nebrixclient/gui/systray.h"
#include "apps/nebrixclient/gui/traypresence.h"

/// The hidden frame that the whole program hangs on: owns the session driver, the panel and the tray icon, receives
/// the driver's events and carries the user's commands out. Never shown; when it goes, the program ends.
///
/// GUI thread only. It reaches the driver's thread through the driver's own operations alone, and files through the
/// worker's thread.
class NebrixMainFrame final : public wxFrame {
public:
    /// Raises EFile when the user's application-data directory cannot be had.
    NebrixMainFrame(wxWindow* parent, int id, const wxString& title);
    ~NebrixMainFrame() override;

    /// Starts the session. The argument is a secret.
    void start(const wxString& url);
    /// Quits: at once when no session runs, else as soon as the driver has given its attempt up.
    void stop();
    /// Ends the session in order, and the process, without any window; waits for the component.
    [[noreturn]] void endWithoutDisplay();
    /// The program was started again with the same argument: what is so now is shown, and where a connection error was
    /// left without an answer a new attempt begins.
    void showAgain();
    void showTaskBarIcon();
    void hideTaskBarIcon();
    void setNotification(const wxString& text) { m_panel->setPluginStatus(text); }

    void showConfigurationDialogModal(wxWindow* parent);
    void showAbout();
    void showLogs();
    /// Shows the window with the commands, for a tray host that cannot draw a menu where no menu of ours can open
    /// either.
    void showCommands();
    /// Brings the dialog that is open to the front; false when there is none.
    bool raiseOpenDialog();

private:
    void onClientConnectError(wxThreadEvent& event);
    void onClientStatus(wxThreadEvent& event);
    void onFatalError(wxThreadEvent& event);
    void onClientDispatch(wxThreadEvent& event);
    void onTransfer(wxThreadEvent& event);
    void onComponentSilent(wxThreadEvent& event);
    void onNextCheck(wxThreadEvent& event);
    void onAccount(wxThreadEvent& event);
    void onClose(wxCloseEvent& event);
    void restart();
    void expectAnswer();
    void joinDesktop();
    void leaveScreen();
    void arrangeTray();
    void showStatusWindow(bool show);
    void decideOnCertificate(wxDialog& error, int trusted);
    void closeStatusWindow();
    void saveConfiguration();
    void onNotSaved();
    /// Tells why the session failed, and ends the program: at once, or with the log window if that was asked for. A
    /// certificate may be trusted instead, and the session begun anew.
    void tellFailure();
    void quitWithLogWindow();

    NebrixClientGuiNotifyHandler m_notifyHandler;
    tessel::NebrixClient m_client;
    std::unique_ptr<NebrixSystrayIcon> m_systrayIcon;
    NebrixClientNotificationPanel* m_panel = nullptr;  // child window, destroyed by the destructor
    bool m_trayHidden = false;                         // for good, by the host checker or the end
    tessel::SessionEnd m_end;                          // of the last attempt; of kind None while the first one runs
    bool m_givenUp = false;                            // a connection error was left with neither Retry nor Quit
    tessel::view::TrayKind m_trayKind = tessel::view::TrayKind::Undecided;

    nebrix::gui::BackgroundWorker m_worker;  // after m_client, which its tasks use
    wxWeakRef<NebrixClientLogWindow> m_logWindow;
    wxWeakRef<nebrix::gui::StatusWindow> m_statusWindow;
    nebrix::gui::QuitSequence m_quit;
    std::unique_ptr<nebrix::gui::TrayPresence> m_trays;     // null until the panel is on its way to the screen
    std::unique_ptr<nebrix::gui::SessionEnd> m_sessionEnd;  // as m_trays

    wxDECLARE_EVENT_TABLE();
};

/// The one main frame; null before start-up has made it.
extern NebrixMainFrame* mainhiddenframe;
