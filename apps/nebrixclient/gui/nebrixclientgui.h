// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <wx/app.h>
#include <wx/intl.h>
#include <wx/snglinst.h>

#include <memory>

#include "libs/base/string.h"

/// The desktop program: with one argument, the mediation string, it runs one session, one instance for each distinct
/// argument; without one it shows the about dialog and ends. GUI thread only.
class NebrixClientGui final : public wxApp {
public:
    bool OnInit() override;
    /// The event loop's status, 1 where the session failed.
    int OnRun() override;
    int OnExit() override;
    /// The exception that is being handled is logged, and the user told: the program goes on.
    bool OnExceptionInMainLoop() override;
    /// The same, where the program cannot go on.
    void OnUnhandledException() override;

    /// Makes the main frame and starts the session.
    void init(const wxString& url);
    /// Whether the session has failed, which the exit status tells.
    void setFailed(bool failed) noexcept { m_failed = failed; }
    /// Chooses the language from the link's parameter "lang", else from the system, and loads the catalogs.
    void setLangFromUrl(const wxString& url);
    static wxLanguage selectLocale(const tessel::String& lang);

private:
    void enableCoreDumps();
    bool isFirstInstance();
    void showAboutOnly();
    void catchSignals();
    void addCatalogs();

    bool m_failed = false;
    std::unique_ptr<wxSingleInstanceChecker> m_checker;  // null until an argument is given
};

/// The one application object; null before start-up.
extern NebrixClientGui* app;
/// Initialised by setLangFromUrl().
extern wxLocale locale;
