// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <wx/timer.h>

#include <functional>

#include "apps/nebrixclient/gui/clientwxevent.h"
#include "apps/nebrixclient/gui/deferredcall.h"
#include "apps/nebrixclient/gui/notificationpanelbase.h"
#include "apps/nebrixclient/gui/panelframe.h"
#include "apps/nebrixclient/view/panelstate.h"
#include "apps/nebrixclient/view/transferprogress.h"

/// The small status window in the top right corner of the work area: shows each driver status for up to two seconds,
/// then, once the tunnel plug-in reports, stays with the tunnel's state until it is clicked away. Never shrinks, and
/// never is larger than the work area: longer texts are cut in their middle, and are whole in the tool tip.
/// Owned by the main frame. GUI thread only; the constructor does not show it.
class NebrixClientNotificationPanel final : public NotificationPanel {
public:
    explicit NebrixClientNotificationPanel(wxWindow* parent);

    /// The gateway is being asked; `gateway` gives its host, with its port, whenever the panel names it. Before the
    /// first event of an attempt.
    void beginAttempt(std::function<wxString()> gateway);
    /// The gateway has answered with a component.
    void accepted();
    /// The attempt has failed: what the panel says is put right, whether or not it is shown.
    void ended();

    /// Shows a driver status, already translated; ignored once a plug-in line has come.
    void setPluginStatus(const wxString& text);
    /// Takes a status line of the plug-in. Of many that come at once the last is shown, from the event loop.
    void onVpnStatus(wxThreadEvent& event);
    /// Shows how far a download is, while there is one and the panel is in the driver's mode.
    void onTransfer(const TransferNews& news);
    /// The component does not answer, or does so again.
    void componentSilent(bool silent);
    /// Tells in the tool tip when the next host check is.
    void setNextCheck(unsigned milliseconds);
    /// Shows what is so now, until it is clicked away; also after it has hidden itself.
    void reappear();

    /// Hides the panel, and keeps it so for as long as another window shows its lines.
    void standBack(bool back);
    /// Does not show it while it would cover the window of the program's that has the keyboard.
    bool Show(bool show = true) override;

    /// Called with the main line and the one below it, the plug-in's or a download's, whenever they may have changed,
    /// for a window that repeats them.
    void setMirror(std::function<void(const wxString& main, const wxString& below)> mirror);

    void updateVpnStatus();
    void print(bool first);

private:
    /// To the corner of the work area.
    void place();
    void onTimer(wxTimerEvent& event);
    void onActivate(wxActivateEvent& event);
    void onClick(wxMouseEvent& event);
    void onColours(wxSysColourChangedEvent& event);
    void showLine();
    /// The plug-in row's text as it is, for a tool tip, where the label does not show all of it.
    void explainCut();
    void bindClicks();
    bool mayBeSeen() const;
    /// Shows or hides it, as it is wanted and may be.
    void arrange();
    void fadeIn();
    void restartTimer();
    void keepTime();
    void draw();
    void announceTransfer();
    void showAmount(const TransferNews& news);
    void tellNews();
    wxString mainText() const;
    wxString pluginText(const wxString& address) const;
    wxString shownPluginText() const;

    nebrix::gui::PanelFrame m_frame;
    nebrix::gui::DeferredCall m_line;
    nebrix::gui::DeferredCall m_company;  // another window of the program's has got or lost the keyboard
    wxTimer m_timer;
    tessel::view::PanelState m_state;
    wxString m_status;     // the driver's last
    wxString m_announced;  // to those who read the screen by ear
    std::function<wxString()> m_gateway;
    tessel::view::TransferProgress m_progress;
    bool m_wanted = false;  // shown, or would be if it did not stand back
    bool m_standsBack = false;
    bool m_transferShown = false;  // the panel has said that something is fetched
    std::function<void(const wxString&, const wxString&)> m_mirror;
};
