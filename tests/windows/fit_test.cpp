// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <gtk/gtk.h>
#include <wx/dataview.h>
#include <wx/intl.h>
#include <wx/listbox.h>
#include <wx/log.h>
#include <wx/scrolwin.h>
#include <wx/textctrl.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "apps/nebrixclient/gui/aboutdialog.h"
#include "apps/nebrixclient/gui/artprovider.h"
#include "apps/nebrixclient/gui/backgroundworker.h"
#include "apps/nebrixclient/gui/certificatedialog.h"
#include "apps/nebrixclient/gui/configurationdialog.h"
#include "apps/nebrixclient/gui/connectionerrordialog.h"
#include "apps/nebrixclient/gui/desktop.h"
#include "apps/nebrixclient/gui/errorbox.h"
#include "apps/nebrixclient/gui/logwindow.h"
#include "apps/nebrixclient/gui/nebrixclientgui.h"
#include "apps/nebrixclient/gui/notificationpanel.h"
#include "apps/nebrixclient/gui/statuswindow.h"
#include "apps/nebrixclient/gui/wxtext.h"
#include "apps/nebrixclient/view/certificateview.h"
#include "generated/languages.h"
#include "libs/openssl/peercertificate.h"

namespace nebrix::test {
namespace {

const wxString kLongestHost = wxString('g', 63) + ".example:65535";
constexpr const char* kLongestDetails =
    "https://gateway.example.org/mediation/plugindll?lang=de: Couldn't connect to server (#7) "
    "[Failed to connect to gateway.example.org port 443 after 21 ms: Couldn't connect to server]";

wxString longestRefusal() { return wxString::Format(_("END_HOSTCHECK_REFUSED %s"), wxString('W', 200)); }

/// What scrolls or is cut by design may want more room than it has.
bool mayBeCut(const wxWindow* window) {
    return dynamic_cast<const wxTextCtrl*>(window) != nullptr || dynamic_cast<const wxListBox*>(window) != nullptr ||
           dynamic_cast<const wxDataViewCtrl*>(window) != nullptr ||
           dynamic_cast<const wxScrolledWindow*>(window) != nullptr || dynamic_cast<const wxGauge*>(window) != nullptr;
}

/// Every shown control below the window that has less room than its text needs, or sticks out of its parent.
std::string overflowing(wxWindow& window) {
    std::string found;
    for (wxWindow* const child : window.GetChildren()) {
        if (!child->IsShown() || child->IsTopLevel()) {
            continue;
        }
        const wxSize best = child->GetBestSize();
        const wxSize size = child->GetSize();
        const wxRect inside(window.GetClientSize());
        // A wrapped text that got more width than it asked for needs less height.
        const bool tooLow = best.y > size.y && size.x <= best.x;
        if (!mayBeCut(child) && (best.x > size.x || tooLow || !inside.Contains(child->GetRect()))) {
            found += child->GetLabel().utf8_string() + " (" + std::to_string(best.x) + "x" + std::to_string(best.y) +
                     " in " + std::to_string(size.x) + "x" + std::to_string(size.y) + ")\n";
        }
        found += overflowing(*child);
    }
    return found;
}

/// About the most that a certificate's dialog has to show.
tessel::view::CertificateView longestCertificate(bool forbidden = false) {
    using Reason = tessel::tls::PeerCertificate::Reason;
    tessel::tls::PeerCertificate peer;
    peer.subject.append(200, 'S');
    peer.issuer.append(200, 'I');
    peer.notBefore = peer.notAfter = 1795305600;
    peer.fingerprint.append(64, 'f');
    peer.keyFingerprint = peer.fingerprint;
    peer.trusted = {.keyFingerprint = peer.fingerprint, .since = 0};
    peer.names.push_back(peer.subject);
    peer.flaws = {Reason::Changed, Reason::UnknownIssuer, Reason::Expired, Reason::OtherName};
    return tessel::view::CertificateView({.kind = tessel::EndKind::Certificate,
                                          .host = tessel::wxToTesselString(kLongestHost),
                                          .peer = std::make_shared<const tessel::tls::PeerCertificate>(peer),
                                          .request = tessel::EndKind::PostLost},
                                         forbidden);
}

class Fit : public testing::TestWithParam<const char*> {
protected:
    static void SetUpTestSuite() {
        NebrixClientArtProvider::init();
        wxArtProvider::Push(new NebrixClientArtProvider);
    }
    void SetUp() override {
        const wxLogNull quiet;
        m_locale.Init(NebrixClientGui::selectLocale(GetParam()), wxLOCALE_LOAD_DEFAULT);
        gui::desktop::useUtf8();
        wxFileTranslationsLoader::AddCatalogLookupPathPrefix(NEBRIX_TEST_LANG);
        ASSERT_TRUE(m_locale.AddCatalog("nebrixclient"));
        ASSERT_NE(_("VPN_INIT"), "VPN_INIT");
    }

    wxLocale m_locale;
};

TEST_P(Fit, everyTextHasRoomInItsControl) {
    gui::BackgroundWorker worker;
    NebrixClientConfigurationDialog settings(nullptr);
    tessel::ClientLocalConfiguration managed;
    managed.setManaged({.path = tessel::platform::managedSettingsPath(),
                        .refuseExceptions = true,
                        .route = tessel::ProxyRoute{{tessel::Proxy::Type::Http, "proxy.example:3128", {}}}});
    NebrixClientConfigurationDialog locked(nullptr);
    locked.readConfiguration(managed);
    EXPECT_FALSE(wxWindow::FindWindowByLabel(_("SETTINGS_ADD"), &locked)->IsEnabled());
    CertificateDialog forbidden(nullptr, longestCertificate(true));
    EXPECT_FALSE(wxWindow::FindWindowByLabel(_("CERTIFICATE_COMPARED"), &forbidden)->IsEnabled());
    NebrixClientConnectionErrorDialog error(nullptr, wxString::Format(_("CONNECTION_PROXY %s"), kLongestHost));
    error.offerCertificate();
    error.setErrorContent(kLongestDetails);
    gui::ErrorBox fatal(nullptr, gui::sessionErrorMessage(), longestRefusal(), wxID_EXIT, gui::ErrorBox::Log::Offered);
    fatal.offerCertificate();
    CertificateDialog certificate(nullptr, longestCertificate());
    NebrixClientAboutDialog about(nullptr);
    gui::StatusWindow status(
        nullptr, [](int) {}, [] {});
    status.setTexts(_("STATUS_DOWNLOADING_COMPENENTS"), _("VPN_RECONNECTING"));
    auto* const log = new NebrixClientLogWindow(nullptr, "/dev/null", worker);
    for (wxTopLevelWindow* const window : std::initializer_list<wxTopLevelWindow*>{
             &settings, &locked, &error, &fatal, &certificate, &forbidden, &about, &status, log}) {
        window->Show();
        window->Layout();
        wxYield();
        EXPECT_EQ(overflowing(*window), "") << window->GetTitle();
        const wxSize size = window->GetSize();
        EXPECT_LE(size.x, 1100) << window->GetTitle();
        EXPECT_LE(size.y, 760) << window->GetTitle();
    }
    delete log;  // before the worker, which a window that is about to be shown still uses
}

TEST_P(Fit, errorBoxesStayOnTheScreenInLargeType) {
    g_object_set(gtk_settings_get_default(), "gtk-font-name", "Sans 28", nullptr);
    NebrixClientConnectionErrorDialog error(nullptr, wxString::Format(_("CERTIFICATE_OTHER_NAME %s"), kLongestHost));
    gui::ErrorBox fatal(nullptr, gui::sessionErrorMessage(), longestRefusal(), wxID_EXIT, gui::ErrorBox::Log::Offered);
    fatal.offerCertificate();
    for (wxTopLevelWindow* const window : std::initializer_list<wxTopLevelWindow*>{&error, &fatal}) {
        EXPECT_EQ(overflowing(*window), "") << window->GetTitle();
        EXPECT_LE(window->GetSize().x, 1100) << window->GetTitle();
        EXPECT_LE(window->GetSize().y, 760) << window->GetTitle();
    }
    g_object_set(gtk_settings_get_default(), "gtk-font-name", "Sans 10", nullptr);
}

TEST_P(Fit, thePanelHasRoomForEveryPhrase) {
    auto* const panel = new NebrixClientNotificationPanel(nullptr);
    for (const char* line : {"init", "authenticating", "reconnecting", "getconfig", "authError", "connected",
                             "connected ip=2001:db8:1234:5678:9abc:def0:1234:5678", ""}) {
        wxThreadEvent event(EVT_TYPE_CLIENTNOTIFY, ID_CLIENT_VPN_STATUS);
        event.SetString(line);
        panel->onVpnStatus(event);
        panel->Layout();
        wxYield();
        EXPECT_EQ(overflowing(*panel), "") << line;
        EXPECT_TRUE(panel->GetSize().x <= 341 || panel->GetSize().x % 100 == 0) << panel->GetSize().x;
    }
    panel->Destroy();
}

double luminance(const wxColour& colour) {  // relative, WCAG 2.1
    const auto part = [](unsigned char value) {
        const double share = value / 255.0;
        return share <= 0.04045 ? share / 12.92 : std::pow((share + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * part(colour.Red()) + 0.7152 * part(colour.Green()) + 0.0722 * part(colour.Blue());
}

/// In the state that a window manager puts a window in that is not the active one, which the panel never is; also when
/// the theme changes while it is there.
TEST(PanelContrast, isFullInEveryTheme) {
    auto* const panel = new NebrixClientNotificationPanel(nullptr);
    panel->Show();
    gtk_widget_set_state_flags(panel->GetHandle(), GTK_STATE_FLAG_BACKDROP, FALSE);
    for (const char* const theme : {"Adwaita", "Adwaita-dark", "HighContrast", "Adwaita"}) {
        g_object_set(gtk_settings_get_default(), "gtk-theme-name", theme, nullptr);
        wxYield();
        for (const wxWindow* const child : panel->GetChildren()) {
            GtkStyleContext* const style = gtk_widget_get_style_context(child->GetHandle());
            GdkRGBA text;
            gtk_style_context_get_color(style, gtk_style_context_get_state(style), &text);
            const auto [dark, bright] =
                std::minmax({luminance(wxColour(text)), luminance(panel->GetBackgroundColour())});
            EXPECT_GE((bright + 0.05) / (dark + 0.05), 7.0) << theme << ": " << child->GetLabel();
        }
    }
    panel->Destroy();
}

INSTANTIATE_TEST_SUITE_P(Languages, Fit, testing::ValuesIn(kLanguages),
                         [](const auto& test) { return std::string(test.param); });

}  // namespace
}  // namespace nebrix::test
