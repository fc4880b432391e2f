// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/notificationpanel.h"

#include <wx/app.h>
#include <wx/display.h>
#include <wx/intl.h>
#include <wx/settings.h>
#include <wx/utils.h>

#include <algorithm>

#include "apps/nebrixclient/gui/accessible.h"
#include "apps/nebrixclient/gui/desktop.h"
#include "apps/nebrixclient/gui/wxtext.h"
#include "apps/nebrixclient/view/displaytext.h"
#include "apps/nebrixclient/view/panelgeometry.h"

using tessel::view::MainLine;
using tessel::view::PanelState;

namespace {

constexpr int kTick = 1000;  // milliseconds
constexpr int kFade = 10;    // milliseconds

// Characters: of an address in a label and in a tool tip, and of a line there.
constexpr unsigned kLongestShown = 100;
constexpr unsigned kLongestTip = 4096;
constexpr unsigned kTipColumns = 80;

wxString amountText(std::uint64_t bytes) {
    const tessel::view::Amount amount = tessel::view::amount(bytes);
    constexpr std::uint64_t kTenths = 10;
    // Not the C library's separator: its locale is not the language's where that is not installed.
    wxString number = wxString::Format("%llu", static_cast<unsigned long long>(amount.tenths / kTenths));
    if (!amount.whole) {
        number += _("DECIMAL_SEPARATOR") + wxString::Format("%u", static_cast<unsigned>(amount.tenths % kTenths));
    }
    return wxString::Format(wxGetTranslation(amount.key), number);
}

tessel::view::Size toSize(const wxSize& size) { return {size.GetWidth(), size.GetHeight()}; }

}  // namespace

NebrixClientNotificationPanel::NebrixClientNotificationPanel(wxWindow* parent)
    : NotificationPanel(parent),
      m_frame(*this),
      m_line([this] { showLine(); }),
      m_company([this] {
          arrange();
          keepTime();
      }),
      m_timer(this) {
    nebrix::gui::desktop::makeNotification(*this);
    nebrix::gui::announceAsNotification(*this, "NebrixClient");
    Bind(wxEVT_TIMER, &NebrixClientNotificationPanel::onTimer, this);
    Bind(wxEVT_SYS_COLOUR_CHANGED, &NebrixClientNotificationPanel::onColours, this);
    bindClicks();
    // Each window's events come to the application last. Those of the application itself leave its first window out.
    wxTheApp->Bind(wxEVT_ACTIVATE, &NebrixClientNotificationPanel::onActivate, this);
    print(true);
}

/// A click on a label or an image is a click on the panel.
void NebrixClientNotificationPanel::bindClicks() {
    Bind(wxEVT_LEFT_UP, &NebrixClientNotificationPanel::onClick, this);
    for (wxWindow* const child : GetChildren()) {
        child->Bind(wxEVT_LEFT_UP, &NebrixClientNotificationPanel::onClick, this);
    }
}

void NebrixClientNotificationPanel::restartTimer() { m_timer.Start(kTick); }

/// A panel that waits for nothing leaves the processor asleep, unless another window of ours may be in its way.
void NebrixClientNotificationPanel::keepTime() {
    const bool company = std::any_of(wxTopLevelWindows.begin(), wxTopLevelWindows.end(),
                                     [this](const wxWindow* each) { return each != this && each->IsShown(); });
    if (!m_state.ticking() && !company) {
        m_timer.Stop();
    } else if (!m_timer.IsRunning()) {
        restartTimer();
    }
}

void NebrixClientNotificationPanel::setMirror(std::function<void(const wxString&, const wxString&)> mirror) {
    m_mirror = std::move(mirror);
    tellNews();
}

void NebrixClientNotificationPanel::tellNews() {
    const wxString plugin = m_state.pluginRow() ? shownPluginText() : wxString();
    if (m_mirror) {
        m_mirror(mainText(), m_progressText->IsShown() ? m_progressText->GetLabelText() : plugin);
    }
    const wxString news = plugin.empty() ? mainText() : mainText() + "\n" + plugin;
    if (news != m_announced) {  // neither dots nor amounts are read out
        m_announced = news;
        nebrix::gui::announce(*this, news);
    }
}

void NebrixClientNotificationPanel::standBack(bool back) {
    m_standsBack = back;
    arrange();
}

bool NebrixClientNotificationPanel::Show(bool show) {
    m_wanted = show;
    const bool changed = NotificationPanel::Show(show && mayBeSeen());
    if (changed && IsShown()) {
        place();  // a window manager may place what is shown again as if it were new
    }
    return changed;
}

void NebrixClientNotificationPanel::arrange() {
    if (IsShown() != (m_wanted && mayBeSeen())) {
        Show(m_wanted);
    }
}

/// It stays above all others, also above what is typed into.
bool NebrixClientNotificationPanel::mayBeSeen() const {
    const bool inTheWay = nebrix::gui::desktop::knowsPlaces() &&
                          std::any_of(wxTopLevelWindows.begin(), wxTopLevelWindows.end(), [this](wxWindow* each) {
                              auto* const window = wxDynamicCast(each, wxTopLevelWindow);
                              return window != nullptr && window != this && window->IsShown() && window->IsActive() &&
                                     window->GetRect().Intersects(GetRect());
                          });
    return !m_standsBack && !inTheWay;
}

void NebrixClientNotificationPanel::fadeIn() {
    ShowWithEffect(wxSHOW_EFFECT_BLEND, kFade);
    ClearBackground();
}

void NebrixClientNotificationPanel::beginAttempt(std::function<wxString()> gateway) {
    m_gateway = std::move(gateway);
    m_state.asking();
    keepTime();
}

void NebrixClientNotificationPanel::accepted() {
    m_state.accepted();
    draw();
}

void NebrixClientNotificationPanel::ended() {
    m_state.ended();
    draw();
}

void NebrixClientNotificationPanel::componentSilent(bool silent) {
    m_state.silent(silent);
    draw();
    if (silent) {
        fadeIn();
    }
}

void NebrixClientNotificationPanel::reappear() {
    m_state.broughtBack();
    draw();
    fadeIn();
    Raise();
}

/// The one place that puts the state on the panel.
void NebrixClientNotificationPanel::draw() {
    const bool plugin = m_state.pluginRow();
    const bool progress = m_state.progressRow() && m_transferShown;
    m_mainLabel->SetLabelText(mainText());
    m_pluginStatus->SetLabelText(shownPluginText() + wxString('.', m_state.dots()));
    m_pluginImage->Show(plugin);
    m_pluginStatus->Show(plugin);
    m_progressBar->Show(progress);
    m_progressText->Show(progress);
    Layout();
    print(false);
    ClearBackground();
    tellNews();
    keepTime();
}

void NebrixClientNotificationPanel::setPluginStatus(const wxString& text) {
    if (!m_state.status()) {
        return;
    }
    m_status = text;
    draw();
    fadeIn();
    restartTimer();
}

void NebrixClientNotificationPanel::onVpnStatus(wxThreadEvent& event) {
    if (m_state.line(tessel::wxToTesselString(event.GetString()))) {
        m_line.schedule();
    }
}

wxString NebrixClientNotificationPanel::mainText() const {
    switch (m_state.main()) {
        case MainLine::Connected:
            return _("Connected");
        case MainLine::Waiting:
            return wxString::Format(_("WAITING_FOR %s"), m_gateway());
        case MainLine::Silent:
            return _("COMPONENT_SILENT");
        case MainLine::NotConnected:
            return _("NOT_CONNECTED");
        case MainLine::Status:
            break;
    }
    return m_status;
}

void NebrixClientNotificationPanel::showLine() {
    draw();
    explainCut();
    fadeIn();
}

wxString NebrixClientNotificationPanel::pluginText(const wxString& address) const {
    const tessel::view::VpnPhrase& phrase = m_state.phrase();
    if (*phrase.key == '\0') {
        return {};
    }
    const wxString text = wxGetTranslation(phrase.key);
    return phrase.address.has_value() ? wxString::Format(text, address) : text;
}

wxString NebrixClientNotificationPanel::shownPluginText() const {
    const tessel::String address = m_state.phrase().address.value_or(tessel::String());
    return pluginText(tessel::tesselToWxString(tessel::view::forLabel(address, kLongestShown)));
}

void NebrixClientNotificationPanel::explainCut() {
    const tessel::String address = m_state.phrase().address.value_or(tessel::String());
    const bool whole =
        tessel::view::forLabel(address, kLongestShown) == address && GetBestSize().x < wxGetClientDisplayRect().width;
    if (whole) {
        m_pluginStatus->UnsetToolTip();
    } else {
        const tessel::String tip = tessel::view::forToolTip(address, kLongestTip, kTipColumns);
        m_pluginStatus->SetToolTip(pluginText("\n" + tessel::tesselToWxString(tip)));
    }
}

void NebrixClientNotificationPanel::onTransfer(const TransferNews& news) {
    m_state.transferring(!news.over);
    if (news.over) {
        m_transferShown = false;
        m_progress.reset();
        draw();
        return;
    }
    if (news.received == 0) {
        return;  // what is over at once is not worth a word
    }
    if (!m_transferShown) {
        announceTransfer();
    }
    if (m_state.progressRow()) {
        m_progress.update(news.received, news.expected, static_cast<std::uint64_t>(wxGetUTCTimeMillis().GetValue()));
        showAmount(news);
    }
}

/// A download that begins after the panel has hidden itself brings it back; one clicked away stays away.
void NebrixClientNotificationPanel::announceTransfer() {
    m_transferShown = true;
    if (IsShown() || !m_state.driverMode()) {
        setPluginStatus(_("STATUS_DOWNLOADING_COMPENENTS"));
    }
}

void NebrixClientNotificationPanel::showAmount(const TransferNews& news) {
    wxString text = amountText(news.received);
    if (news.expected == 0) {
        m_progressBar->Pulse();
    } else {
        m_progressBar->SetValue(static_cast<int>(m_progress.permille()));
        text = wxString::Format(_("PROGRESS_AMOUNT %s %s"), text, amountText(news.expected));
    }
    if (const auto perSecond = m_progress.bytesPerSecond()) {
        const wxString rate = wxString::Format(_("PROGRESS_RATE %s"), amountText(*perSecond));
        text = wxString::Format(_("PROGRESS_WITH_RATE %s %s"), text, rate);
    }
    m_progressText->SetLabelText(text);
    draw();
}

void NebrixClientNotificationPanel::setNextCheck(unsigned milliseconds) {
    const wxDateTime time = wxDateTime::Now() + wxTimeSpan::Milliseconds(milliseconds);
    SetToolTip(wxString::Format(_("NEXT_HOSTCHECK %s"), time.FormatISOTime()));
}

void NebrixClientNotificationPanel::onTimer(wxTimerEvent& /*event*/) {
    const PanelState::TickEffect effect = m_state.tick();
    if (effect.redrawDots) {
        updateVpnStatus();
    }
    if (effect.hide) {
        Show(false);
        draw();
    }
    if (effect.show) {
        draw();
        fadeIn();
    }
    arrange();  // of our own windows, one may have moved or another may have the keyboard now
}

/// A window that loses the keyboard counts as active until its event is over.
void NebrixClientNotificationPanel::onActivate(wxActivateEvent& event) {
    event.Skip();
    m_company.schedule();
}

void NebrixClientNotificationPanel::updateVpnStatus() { draw(); }

void NebrixClientNotificationPanel::onClick(wxMouseEvent& /*event*/) { Show(false); }

void NebrixClientNotificationPanel::onColours(wxSysColourChangedEvent& event) {
    SetBackgroundColour(wxSystemSettings::GetColour(wxSYS_COLOUR_3DLIGHT));
    Refresh();
    event.Skip();
}

void NebrixClientNotificationPanel::print(bool first) {
    const wxRect area = wxGetClientDisplayRect();
    const std::optional<tessel::view::Size> size = tessel::view::panelSize(
        toSize(GetSize()), toSize(GetBestSize()), {area.width - 1, area.height}, kMinimumWidth, first);
    if (!size.has_value()) {
        return;
    }
    SetSize(size->width, size->height);
    place();
    m_frame.reshape();
}

void NebrixClientNotificationPanel::place() {
    const wxRect area = wxGetClientDisplayRect();
    const tessel::view::Point position =
        tessel::view::panelPosition({area.x, area.y, area.width, area.height}, GetSize().GetWidth());
    Move(position.x, position.y);
}
