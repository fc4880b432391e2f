#include "apps/nebrixclient/gui/notificationpanel.h"

#include <wx/display.h>
#include <wx/graphics.h>
#include <wx/intl.h>
#include <wx/utils.h>

#include "apps/nebrixclient/gui/desktop.h"
#include "apps/nebrixclient/gui/wxtext.h"
#include "apps/nebrixclient/view/panelgeometry.h"

using tessel::view::MainLine;
using tessel::view::PanelState;

namespace {

constexpr int kTick = 1000;  // milliseconds
constexpr int kFade = 10;    // milliseconds
constexpr double kCorner = 10.0;

wxString amountText(std::uint64_t bytes) {
    const tessel::view::Amount amount = tessel::view::amount(bytes);
    constexpr std::uint64_t kTenths = 10;
    // Not the C library's separator: its locale is not the language's where that is not installed.
    wxString number = wxString::Format("%llu", static_cast<unsigned long long>(amount.tenths / kTenths));
    if (amount.tenths % kTenths != 0) {
        number += _("DECIMAL_SEPARATOR") + wxString::Format("%u", static_cast<unsigned>(amount.tenths % kTenths));
    }
    return wxString::Format(wxGetTranslation(amount.key), number);
}

tessel::view::Size toSize(const wxSize& size) { return {size.GetWidth(), size.GetHeight()}; }

}  // namespace

NebrixClientNotificationPanel::NebrixClientNotificationPanel(wxWindow* parent)
    : NotificationPanel(parent), m_timer(this) {
    nebrix::gui::desktop::makeNotification(*this);
    restartTimer();
    Bind(wxEVT_TIMER, &NebrixClientNotificationPanel::onTimer, this);
    bindClicks();
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

void NebrixClientNotificationPanel::setMirror(std::function<void(const wxString&, const wxString&)> mirror) {
    m_mirror = std::move(mirror);
    tellMirror();
}

void NebrixClientNotificationPanel::tellMirror() {
    if (m_mirror) {
        const wxString plugin = m_state.pluginRow() ? pluginText() : wxString();
        m_mirror(mainText(), m_progressText->IsShown() ? m_progressText->GetLabelText() : plugin);
    }
}

void NebrixClientNotificationPanel::standBack(bool back) {
    m_standsBack = back;
    if (IsShown() != (m_wanted && !back)) {
        Show(m_wanted);
    }
}

bool NebrixClientNotificationPanel::Show(bool show) {
    m_wanted = show;
    return NotificationPanel::Show(show && !m_standsBack);
}

void NebrixClientNotificationPanel::fadeIn() {
    ShowWithEffect(wxSHOW_EFFECT_BLEND, kFade);
    ClearBackground();
}

void NebrixClientNotificationPanel::beginAttempt(std::function<wxString()> gateway) {
    m_gateway = std::move(gateway);
    m_state.asking();
}

void NebrixClientNotificationPanel::accepted() {
    m_state.accepted();
    draw();
}

void NebrixClientNotificationPanel::ended() {
    m_state.ended();
    draw();
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
    m_pluginStatus->SetLabelText(pluginText() + wxString('.', m_state.dots()));
    m_pluginImage->Show(plugin);
    m_pluginStatus->Show(plugin);
    m_progressBar->Show(progress);
    m_progressText->Show(progress);
    Layout();
    print(false);
    ClearBackground();
    tellMirror();
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
        draw();
        fadeIn();
    }
}

wxString NebrixClientNotificationPanel::mainText() const {
    switch (m_state.main()) {
        case MainLine::Connected:
            return _("Connected");
        case MainLine::Waiting:
            return wxString::Format(_("WAITING_FOR %s"), m_gateway());
        case MainLine::NotConnected:
            return _("NOT_CONNECTED");
        case MainLine::Status:
            break;
    }
    return m_status;
}

wxString NebrixClientNotificationPanel::pluginText() const {
    const tessel::view::VpnPhrase& phrase = m_state.phrase();
    if (*phrase.key == '\0') {
        return {};
    }
    const wxString text = wxGetTranslation(phrase.key);
    return phrase.address.has_value() ? wxString::Format(text, tessel::tesselToWxString(*phrase.address)) : text;
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
    if (news.expected == 0) {
        m_progressBar->Pulse();
        m_progressText->SetLabelText(amountText(news.received));
    } else {
        m_progressBar->SetValue(static_cast<int>(m_progress.permille()));
        m_progressText->SetLabelText(
            wxString::Format(_("PROGRESS_AMOUNT %s %s"), amountText(news.received), amountText(news.expected)));
    }
    const wxString rate = wxString::Format(_("PROGRESS_RATE %s"), amountText(m_progress.bytesPerSecond()));
    m_progressBar->SetToolTip(rate);
    m_progressText->SetToolTip(rate);
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
}

void NebrixClientNotificationPanel::updateVpnStatus() { draw(); }

void NebrixClientNotificationPanel::onClick(wxMouseEvent& /*event*/) { Show(false); }

void NebrixClientNotificationPanel::print(bool first) {
    const std::optional<tessel::view::Size> size =
        tessel::view::panelSize(toSize(GetSize()), toSize(GetBestSize()), kMinimumWidth, first);
    if (!size.has_value()) {
        return;
    }
    SetSize(size->width, size->height);
    const wxRect area = wxGetClientDisplayRect();
    const tessel::view::Point position =
        tessel::view::panelPosition({area.x, area.y, area.width, area.height}, size->width);
    Move(position.x, position.y);
    wxGraphicsPath shape = wxGraphicsRenderer::GetDefaultRenderer()->CreatePath();
    shape.AddRoundedRectangle(0, 0, size->width, size->height, kCorner);
    SetShape(shape);
}
