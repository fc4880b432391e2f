// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/nebrixclientgui.h"

#include <wx/artprov.h>
#include <wx/filename.h>
#include <wx/stdpaths.h>
#include <wx/utils.h>

#include <csignal>
#include <memory>

#include "apps/nebrixclient/client.h"
#include "apps/nebrixclient/gui/aboutdialog.h"
#include "apps/nebrixclient/gui/artprovider.h"
#include "apps/nebrixclient/gui/desktop.h"
#include "apps/nebrixclient/gui/displayloss.h"
#include "apps/nebrixclient/gui/errorbox.h"
#include "apps/nebrixclient/gui/mainframe.h"
#include "apps/nebrixclient/gui/sites.h"
#include "apps/nebrixclient/gui/wxlogtarget.h"
#include "apps/nebrixclient/gui/wxtext.h"
#include "apps/nebrixclient/view/endtext.h"
#include "apps/nebrixclient/view/instancekey.h"
#include "apps/nebrixclient/view/language.h"
#include "generated/languages.h"
#include "libs/base/console.h"
#include "libs/base/log.h"
#include "libs/base/platform.h"

using tessel::LogCategory;
using tessel::String;

namespace desktop = nebrix::gui::desktop;

NebrixClientGui* app = nullptr;
NebrixMainFrame* mainhiddenframe = nullptr;
wxLocale locale;

wxIMPLEMENT_APP_NO_MAIN(NebrixClientGui);

namespace {

constexpr const char* kClassName = "NebrixClientGui";
constexpr const char* kCoreDumpsVariable = "NEBRIX_ENABLE_COREDUMPS";
constexpr const char* kInstanceDirectory = "/tmp";
constexpr const char* kCatalog = "nebrixclient";
constexpr int kFailed = 1;

/// The catalog's language. One that the toolkit does not know becomes known to it.
wxLanguage toWxLanguage(const wxString& code) {
    const wxLanguageInfo* const known = wxLocale::FindLanguageInfo(code);
    if (known != nullptr && known->CanonicalName == code) {
        return static_cast<wxLanguage>(known->Language);
    }
    wxLanguageInfo added;
    added.Language = wxLANGUAGE_USER_DEFINED + 1;  // a session has one language
    added.CanonicalName = code;
    added.Description = code;
    added.LayoutDirection = wxLayout_Default;
    wxLocale::AddLanguage(added);
    return static_cast<wxLanguage>(added.Language);
}

/// What the session asks for, in the C library's order of variables; the toolkit knows it only where that locale is
/// installed.
const wxLanguageInfo* wantedLocale() {
    for (const char* const variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        wxString value;
        if (wxGetEnv(variable, &value) && !value.empty()) {
            return wxLocale::FindLanguageInfo(value.BeforeFirst('.').BeforeFirst('@'));
        }
    }
    return nullptr;
}

const wxLanguageInfo* systemLanguage() {
    const wxLanguageInfo* const information = wxLocale::GetLanguageInfo(wxLANGUAGE_DEFAULT);
    return information != nullptr ? information : wantedLocale();
}

std::optional<String> systemLocale() {
    const wxLanguageInfo* const information = systemLanguage();
    if (information == nullptr) {
        return std::nullopt;
    }
    return tessel::wxToTesselString(information->CanonicalName);
}

/// The language as it is spoken where the session's locale says, else in the country that the toolkit names first; null
/// where that locale is not installed.
const wxLanguageInfo* installedLocale(const wxLanguageInfo& language) {
    const wxLanguageInfo* const system = systemLanguage();
    const bool spoken = system != nullptr && system->CanonicalName.BeforeFirst('_') == language.CanonicalName;
    const wxString name = spoken ? system->CanonicalName : language.GetCanonicalWithRegion();
    return desktop::isLocaleInstalled(name.utf8_str()) ? wxLocale::FindLanguageInfo(name) : nullptr;
}

/// Asked for a language without a country, or for one whose locale is not installed, wxLocale looks for each country's
/// in each spelling of UTF-8: 580 names for English, up to 50 ms before the first window.
void translateInto(const wxLanguageInfo& language) {
    if (const wxLanguageInfo* const installed = installedLocale(language)) {
        locale.Init(installed->Language, wxLOCALE_LOAD_DEFAULT);
        return;
    }
    // Catalogs work all the same.
    auto translations = std::make_unique<wxTranslations>();
    translations->SetLanguage(language.CanonicalName);
    translations->AddStdCatalog();
    wxTranslations::Set(translations.release());
}

void logLine(const char* method, const String& text) { tessel::log(LogCategory::Trace, kClassName, method, text); }

// Called from the event loop, not by the kernel.
void quitOnSignal(int /*signal*/) {
    if (mainhiddenframe != nullptr) {
        mainhiddenframe->stop();
    } else {
        wxTheApp->Exit();
    }
}

void endWithoutDisplay() {
    if (mainhiddenframe != nullptr) {
        mainhiddenframe->endWithoutDisplay();
    }
}

void showOnSignal(int /*signal*/) {
    if (mainhiddenframe != nullptr) {
        mainhiddenframe->showAgain();
    }
}

}  // namespace

bool NebrixClientGui::OnInit() {
    desktop::leaveOpenGlToOthers();
    desktop::becomeUserInterfaceElement();
    desktop::useUtf8();
    tessel::Console::start();
    // NOLINTBEGIN(clang-analyzer-cplusplus.NewDeleteLeaks): wxWidgets owns what it is given.
    wxLog::SetActiveTarget(new nebrix::gui::WxLogTarget);
    enableCoreDumps();
    app = this;
    NebrixClientArtProvider::init();
    wxArtProvider::Push(new NebrixClientArtProvider);
    desktop::showMenuImages();
    // NOLINTEND(clang-analyzer-cplusplus.NewDeleteLeaks)
    desktop::showScrollBars();
    desktop::surviveXErrors();
    catchSignals();
    nebrix::gui::onDisplayLoss(&endWithoutDisplay);
    if (argc <= 1) {
        showAboutOnly();
        return false;
    }
    if (!isFirstInstance()) {
        return false;
    }
    init(wxString::FromUTF8(tessel::wxToTesselString(argv[1]).str()));
    return true;
}

void NebrixClientGui::enableCoreDumps() {
    wxString value;
    wxGetEnv(kCoreDumpsVariable, &value);
    logLine("OnInit", tessel::wxToTesselString(value));
    if (tessel::view::coreDumpsWanted(tessel::wxToTesselString(value))) {
        logLine("OnInit", "Enabling coredumps");
        desktop::allowCoreDumps();
    }
}

/// Before the instance lock is taken: whoever holds it may be asked to show itself.
void NebrixClientGui::catchSignals() {
    for (const int signal : {SIGTERM, SIGINT}) {
        SetSignalHandler(signal, &quitOnSignal);
    }
    if (!tessel::platform::isSignalIgnored(SIGHUP)) {  // under nohup(1) the session outlives its terminal
        SetSignalHandler(SIGHUP, &quitOnSignal);
    }
    SetSignalHandler(SIGUSR1, &showOnSignal);
    std::signal(SIGPIPE, SIG_IGN);
}

bool NebrixClientGui::isFirstInstance() {
    const wxString name = tessel::tesselToWxString(tessel::view::instanceLockName(tessel::wxToTesselString(argv[1])));
    m_checker = std::make_unique<wxSingleInstanceChecker>();
    m_checker->Create(name, kInstanceDirectory);
    if (!m_checker->IsAnotherRunning()) {
        return true;
    }
    logLine("OnInit", "Another instance is already launched with this parameter, quitting.");
    desktop::askLockHolder(wxFileName(kInstanceDirectory, name).GetFullPath());
    m_checker.reset();
    return false;
}

void NebrixClientGui::showAboutOnly() {
    setLangFromUrl(wxEmptyString);
    NebrixClientAboutDialog about(nullptr);
    about.CentreOnScreen();
    about.ShowModal();
}

void NebrixClientGui::init(const wxString& url) {
    setLangFromUrl(url);
    mainhiddenframe = new NebrixMainFrame(nullptr, wxID_ANY, argv[0]);
    mainhiddenframe->Show(false);
    SetTopWindow(mainhiddenframe);
    mainhiddenframe->start(url);
    mainhiddenframe->setNotification(_("Loading"));
}

void NebrixClientGui::setLangFromUrl(const wxString& url) {
    const String lang = url.empty() ? String() : tessel::NebrixClient::getLangFromArg(tessel::wxToTesselString(url));
    const wxLanguageInfo& language = *wxLocale::GetLanguageInfo(selectLocale(lang));
    translateInto(language);
    desktop::useUtf8();
    desktop::useLanguage(language.CanonicalName.utf8_str());
    addCatalogs();
}

void NebrixClientGui::addCatalogs() {
    wxFileName directory(wxStandardPaths::Get().GetExecutablePath());
    directory.SetFullName(wxEmptyString);
    directory.AppendDir("lang");
    wxFileTranslationsLoader::AddCatalogLookupPathPrefix(directory.GetPath());
    directory.RemoveLastDir();
    directory.RemoveLastDir();
    directory.AppendDir("lang");
    wxFileTranslationsLoader::AddCatalogLookupPathPrefix(directory.GetPath());
    // Where the program is installed.
    wxFileName installed = wxFileName::DirName(wxStandardPaths::Get().GetResourcesDir());
    installed.AppendDir("lang");
    wxFileTranslationsLoader::AddCatalogLookupPathPrefix(installed.GetPath());
    locale.AddCatalog(kCatalog);
}

wxLanguage NebrixClientGui::selectLocale(const String& lang) {
    return toWxLanguage(
        tessel::tesselToWxString(tessel::view::selectLanguage(lang, nebrix::kLanguages, &systemLocale)));
}

int NebrixClientGui::OnRun() {
    const int status = wxApp::OnRun();
    return status == 0 && m_failed ? kFailed : status;
}

int NebrixClientGui::OnExit() {
    m_checker.reset();
    return wxApp::OnExit();
}

bool NebrixClientGui::OnExceptionInMainLoop() {
    OnUnhandledException();
    return true;
}

void NebrixClientGui::OnUnhandledException() {
    tessel::SessionEnd end;
    try {
        throw;
    } catch (const tessel::Exception& caught) {
        tessel::logCaught(caught, nebrix::gui::sites::kUnhandled);
        end = tessel::endOf(caught);
    } catch (const std::exception& caught) {
        tessel::log(LogCategory::Error, kClassName, "catch", caught.what());
    } catch (...) {
        tessel::log(LogCategory::Error, kClassName, "catch", "unhandled exception");
    }
    const wxString why = nebrix::gui::toText(tessel::view::failureText(end));
    nebrix::gui::ErrorBox(nullptr, nebrix::gui::sessionErrorMessage(), why, wxID_OK).ShowModal();
}
