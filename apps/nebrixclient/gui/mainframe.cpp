// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/mainframe.h"

#include <wx/artprov.h>
#include <wx/iconbndl.h>
#include <wx/intl.h>

#include "apps/nebrixclient/gui/aboutdialog.h"
#include "apps/nebrixclient/gui/certificatedialog.h"
#include "apps/nebrixclient/gui/configurationdialog.h"
#include "apps/nebrixclient/gui/connectionerrordialog.h"
#include "apps/nebrixclient/gui/desktop.h"
#include "apps/nebrixclient/gui/errorbox.h"
#include "apps/nebrixclient/gui/nebrixclientgui.h"
#include "apps/nebrixclient/gui/sites.h"
#include "apps/nebrixclient/gui/wxtext.h"
#include "apps/nebrixclient/view/certificateview.h"
#include "apps/nebrixclient/view/endtext.h"
#include "apps/nebrixclient/view/statuskeys.h"
#include "libs/base/log.h"

using nebrix::gui::ErrorBox;
using tessel::ClientStatus;
using tessel::ClientType;
using tessel::view::CertificateView;
using tessel::view::TrayKind;

#define EVT_CLIENT(id, function) \
    wx__DECLARE_EVT1(EVT_TYPE_CLIENTNOTIFY, id, wxThreadEventHandler(NebrixMainFrame::function))

wxBEGIN_EVENT_TABLE(NebrixMainFrame, wxFrame)
EVT_CLIENT(ID_CLIENT_CONNECT_ERROR, onClientConnectError)
EVT_CLIENT(ID_CLIENT_STATUS, onClientStatus)
EVT_CLIENT(ID_CLIENT_FATAL_ERROR, onFatalError)
EVT_CLIENT(ID_CLIENT_DISPATCH, onClientDispatch)
EVT_CLIENT(ID_CLIENT_TRANSFER, onTransfer)
EVT_CLIENT(ID_CLIENT_NEXT_CHECK, onNextCheck)
EVT_CLIENT(ID_CLIENT_SILENT, onComponentSilent)
EVT_CLIENT(ID_CLIENT_ACCOUNT, onAccount)
EVT_CLOSE(NebrixMainFrame::onClose)
wxEND_EVENT_TABLE()

NebrixMainFrame::NebrixMainFrame(wxWindow* parent, int id, const wxString& title)
    : wxFrame(parent, id, title, wxDefaultPosition, wxDefaultSize, wxDEFAULT_FRAME_STYLE),
      m_notifyHandler(this),
      m_client(m_notifyHandler),
      m_quit([this] { return m_client.isRunning(); }, [this] { Close(true); }) {
    m_client.setProgress(&m_notifyHandler);
    m_client.setAccountListener(&m_notifyHandler);
    CentreOnScreen();  // dialogs without another place are centred on it
    m_panel = new NebrixClientNotificationPanel(this);
    Bind(EVT_TYPE_CLIENTNOTIFY, &NebrixClientNotificationPanel::onVpnStatus, m_panel, ID_CLIENT_VPN_STATUS);
    showTaskBarIcon();
    CallAfter(&NebrixMainFrame::joinDesktop);  // before any event of the driver, which does not run yet
}

NebrixMainFrame::~NebrixMainFrame() {
    mainhiddenframe = nullptr;  // a signal may still come
    m_systrayIcon.reset();
    m_panel->Destroy();
}

/// What the panel need not wait for.
void NebrixMainFrame::joinDesktop() {
    if (m_quit.started()) {
        return;
    }
    SetIcons(wxArtProvider::GetIconBundle("nebrix-logo", wxART_OTHER));
    m_trays = std::make_unique<nebrix::gui::TrayPresence>([this] { arrangeTray(); });
    m_sessionEnd = std::make_unique<nebrix::gui::SessionEnd>([this] { stop(); });
    arrangeTray();
}

void NebrixMainFrame::start(const wxString& url) {
    m_client.run(tessel::wxToTesselString(url));
    expectAnswer();
}

void NebrixMainFrame::restart() {
    m_givenUp = true;  // when no thread is to be had
    m_client.restart();
    m_givenUp = false;
    expectAnswer();
    setNotification(_("Loading"));
}

/// Of an attempt whose events have not been seen yet.
void NebrixMainFrame::expectAnswer() {
    m_panel->beginAttempt([this] { return tessel::tesselToWxString(m_client.getServer()); });
}

void NebrixMainFrame::stop() {
    if (m_quit.started()) {
        return;
    }
    if (m_client.isRunning()) {
        leaveScreen();
        m_client.cancel();
        m_quit.start();
    } else {
        m_quit.closeWhenFree();
    }
}

void NebrixMainFrame::endWithoutDisplay() {
    m_client.cancel();
    m_quit.endWithoutDisplay();
}

void NebrixMainFrame::showAgain() {
    if (m_quit.started()) {
        return;
    }
    if (m_givenUp) {
        restart();
    } else {
        m_panel->reappear();
    }
    raiseOpenDialog();
}

void NebrixMainFrame::showTaskBarIcon() {
    if (m_systrayIcon == nullptr) {
        m_systrayIcon = std::make_unique<NebrixSystrayIcon>([this] { arrangeTray(); });
    }
    arrangeTray();
}

void NebrixMainFrame::hideTaskBarIcon() {
    m_trayHidden = true;
    if (m_systrayIcon != nullptr && m_systrayIcon->isInstalled()) {
        m_systrayIcon->RemoveIcon();
    }
}

/// Without any tray the panel's lines and the commands get an ordinary window, so that nobody is left without a way in.
void NebrixMainFrame::arrangeTray() {
    if (m_systrayIcon == nullptr || m_trays == nullptr || m_quit.started()) {
        return;
    }
    const TrayKind kind = tessel::view::chooseTray({.statusNotifierHost = m_trays->statusNotifierHost(),
                                                    .hostKnown = m_trays->settled(),
                                                    .itemOverdue = m_systrayIcon->isOverdue(),
                                                    .x11Tray = m_trays->x11Tray() != 0});
    if (kind == TrayKind::Undecided) {
        return;
    }
    m_trayKind = kind;
    if (!m_trayHidden) {
        m_systrayIcon->present(kind, m_trays->x11Tray());
    }
    showStatusWindow(kind == TrayKind::Window);
}

void NebrixMainFrame::showCommands() {
    if (!m_quit.started()) {
        showStatusWindow(true);
        nebrix::gui::desktop::takeKeyboard(*m_statusWindow);
    }
}

void NebrixMainFrame::showStatusWindow(bool show) {
    if (show && !m_statusWindow) {
        m_statusWindow = new nebrix::gui::StatusWindow(
            nullptr, [this](int id) { m_systrayIcon->command(id); }, [this] { closeStatusWindow(); });
        m_panel->setMirror([this](const wxString& main, const wxString& plugin) {
            if (m_statusWindow) {
                m_statusWindow->setTexts(main, plugin);
            }
        });
    }
    m_panel->standBack(show);
    if (m_statusWindow && m_statusWindow->IsShown() != show) {
        m_statusWindow->Show(show);
    }
}

/// Quits where nothing else would be left to do so.
void NebrixMainFrame::closeStatusWindow() {
    if (m_trayKind == TrayKind::Window) {
        stop();
    } else {
        showStatusWindow(false);
    }
}

void NebrixMainFrame::showConfigurationDialogModal(wxWindow* parent) {
    NebrixClientConfigurationDialog dialog(parent);
    dialog.readConfiguration(m_client.localConfiguration());
    dialog.setExample(tessel::tesselToWxString(m_client.getServer()));
    dialog.Centre();
    if (dialog.ShowModal() == wxID_SAVE) {
        dialog.writeConfiguration(m_client.localConfiguration());
        saveConfiguration();
    }
}

/// On the worker's thread, since a disk may take its time.
void NebrixMainFrame::saveConfiguration() {
    m_worker.post([this] {
        try {
            m_client.saveLocalConfiguration();
        } catch (const tessel::Exception& caught) {
            tessel::logCaught(caught, nebrix::gui::sites::kSaveConfigurationCatch);
            CallAfter(&NebrixMainFrame::onNotSaved);
        }
    });
}

void NebrixMainFrame::onNotSaved() {
    const wxString path = tessel::tesselToWxString(tessel::NebrixClient::getLocalConfPath());
    ErrorBox(this, wxString::Format(_("SETTINGS_NOT_SAVED %s"), path), wxString(), wxID_OK).ShowModal();
}

void NebrixMainFrame::showAbout() {
    NebrixClientAboutDialog dialog(nullptr);
    nebrix::gui::desktop::takeKeyboard(dialog);
    dialog.CentreOnScreen();
    dialog.ShowModal();
}

void NebrixMainFrame::showLogs() {
    m_client.showLogs();
    if (!m_logWindow) {
        m_logWindow =
            new NebrixClientLogWindow(nullptr, tessel::tesselToWxString(tessel::NebrixClient::getLogFile()), m_worker);
    }
    nebrix::gui::desktop::takeKeyboard(*m_logWindow);
    m_logWindow->Show();
}

bool NebrixMainFrame::raiseOpenDialog() { return m_quit.raiseDialog(); }

void NebrixMainFrame::onClientConnectError(wxThreadEvent& event) {
    if (m_quit.started()) {
        return;
    }
    NebrixClientConnectionErrorDialog dialog(this, nebrix::gui::toText(tessel::view::connectionErrorText(m_end)));
    dialog.Bind(
        wxEVT_BUTTON, [this, &dialog](wxCommandEvent& /*event*/) { showConfigurationDialogModal(&dialog); },
        ConnectionErrorDialog::kSettingsId);
    if (CertificateView::offered(m_end)) {
        dialog.offerCertificate();
        dialog.Bind(
            wxEVT_BUTTON,
            [this, &dialog](wxCommandEvent& /*event*/) {
                decideOnCertificate(dialog, NebrixClientConnectionErrorDialog::kRetry);
            },
            ConnectionErrorDialog::kCertificateId);
    }
    dialog.setErrorContent(event.GetString());
    dialog.CentreOnScreen();
    const int result = dialog.ShowModal();
    if (result == NebrixClientConnectionErrorDialog::kQuit) {
        m_quit.closeWhenFree();
    } else if (result == NebrixClientConnectionErrorDialog::kRetry) {
        restart();
    } else {
        m_givenUp = true;
    }
}

/// Trust ends the dialog with this result, for a new attempt; anything else goes back to it.
void NebrixMainFrame::decideOnCertificate(wxDialog& error, int trusted) {
    const CertificateView view(m_end, m_client.localConfiguration().managed().refuseExceptions);
    if (CertificateDialog(&error, view).ShowModal() == CertificateDialog::kTrust) {
        m_client.localConfiguration().trust(view.server, view.keyDigest, std::time(nullptr));
        saveConfiguration();
        error.EndModal(trusted);
    }
}

void NebrixMainFrame::onClientStatus(wxThreadEvent& event) {
    if (event.GetInt() == static_cast<int>(ClientStatus::SessionOver)) {
        // A session can fail without a fatal error: when the gateway refuses the host check, for one.
        if (m_end.wanted() || m_quit.started()) {
            m_quit.closeWhenFree();
        } else {
            tellFailure();
        }
        return;
    }
    const char* const key = tessel::view::statusKey(event.GetInt());
    m_panel->setPluginStatus(*key == '\0' ? wxString() : wxGetTranslation(key));
}

void NebrixMainFrame::onFatalError(wxThreadEvent& /*event*/) {
    if (!m_quit.started()) {
        tellFailure();
    }
}

void NebrixMainFrame::onAccount(wxThreadEvent& event) {
    m_end = event.GetPayload<tessel::SessionEnd>();
    if (!m_end.wanted()) {
        m_panel->ended();
    }
}

void NebrixMainFrame::tellFailure() {
    app->setFailed(true);
    ErrorBox box(this, nebrix::gui::sessionErrorMessage(), nebrix::gui::toText(tessel::view::failureText(m_end)),
                 wxID_EXIT, ErrorBox::Log::Offered);
    if (CertificateView::offered(m_end)) {
        box.offerCertificate();
        box.Bind(
            wxEVT_BUTTON, [this, &box](wxCommandEvent& /*event*/) { decideOnCertificate(box, ErrorBox::kRetry); },
            ErrorBox::kCertificateId);
    }
    const int result = box.ShowModal();
    if (result == ErrorBox::kRetry && !m_quit.started()) {
        app->setFailed(false);
        restart();
    } else if (result == ErrorBox::kShowLog && !m_quit.started()) {
        showLogs();
        quitWithLogWindow();
    } else {
        m_quit.closeWhenFree();
    }
}

void NebrixMainFrame::quitWithLogWindow() {
    // The event of each of its controls comes this way as well.
    m_logWindow->Bind(wxEVT_DESTROY, [this, window = m_logWindow.get()](wxWindowDestroyEvent& event) {
        event.Skip();
        if (event.GetWindow() == window) {
            CallAfter(&NebrixMainFrame::stop);  // the window must be gone by then
        }
    });
}

void NebrixMainFrame::onClientDispatch(wxThreadEvent& event) {
    m_panel->accepted();
    if (event.GetInt() == static_cast<int>(ClientType::HostChecker)) {
        hideTaskBarIcon();
    }
}

void NebrixMainFrame::onTransfer(wxThreadEvent& event) { m_panel->onTransfer(event.GetPayload<TransferNews>()); }

void NebrixMainFrame::onComponentSilent(wxThreadEvent& event) { m_panel->componentSilent(event.GetInt() != 0); }

void NebrixMainFrame::onNextCheck(wxThreadEvent& event) {
    m_panel->setNextCheck(static_cast<unsigned>(event.GetInt()));
}

/// What the user sees goes first, whatever the rest takes.
void NebrixMainFrame::leaveScreen() {
    hideTaskBarIcon();
    m_panel->Hide();
    if (m_statusWindow) {
        m_statusWindow->Destroy();
    }
    if (m_logWindow) {
        m_logWindow->Destroy();
    }
}

void NebrixMainFrame::onClose(wxCloseEvent& event) {
    m_client.cancel();
    leaveScreen();
    if (event.CanVeto() && m_client.isRunning()) {
        event.Veto();
        m_quit.start();
        return;
    }
    event.Skip();
}
