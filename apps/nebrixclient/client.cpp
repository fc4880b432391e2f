// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/client.h"

#include <unistd.h>

#include <cerrno>
#include <new>

#include "apps/nebrixclient/directorytrust.h"
#include "apps/nebrixclient/hostcheckerclient.h"
#include "apps/nebrixclient/mediationresponse.h"
#include "apps/nebrixclient/notunnelclient.h"
#include "apps/nebrixclient/plugindllclient.h"
#include "apps/nebrixclient/signeddll.h"
#include "apps/nebrixclient/sites.h"
#include "apps/nebrixclient/staticdownloadwrapper.h"
#include "libs/base/console.h"
#include "libs/base/file.h"
#include "libs/base/log.h"
#include "libs/base/numbers.h"
#include "libs/base/platform.h"
#include "libs/http/authority.h"
#include "libs/http/setcookie.h"
#include "libs/http/uri.h"
#include "libs/openssl/tls.h"

namespace tessel {

namespace {

constexpr int kHttpOk = 200;

void logLine(LogCategory category, const String& text) { log(category, "NebrixClient", "main", text); }

void routeLog(const String& file) {
    platform::setSystemLogIdentity("nebrixclient");
    Console::start();
    const gc::Pointer<Console> console = Console::current();
    if (!console.valid()) {
        return;
    }
    console->setStreams(file, "nebrixclient.log");
}

String operatingSystem() {
    const gc::Pointer<Console> console = Console::current();
    return console.valid() ? console->getOsName() : String();
}

}  // namespace

NebrixClient::NebrixClient(INebrixClientNotify& notify, const String& logFile, const ManagedFile& managed)
    : Thread("nebrixclient", 0, true), m_notify(notify), m_downloadManager(m_localConfiguration) {
    routeLog(logFile);
    const String directory = File::getUserApplicationDataDirectory();
    File::ensureDirectory(directory);
    File::keepPrivate(directory);
    log(LogCategory::Trace, "NebrixClient", "NebrixClient", "Nebrix directory is : " + directory);
    if (chdir(directory.str()) != 0) {
        const int systemError = errno;
        raise<EFile>("EFile", sites::kClientDirectoryCatch,
                     {.subject = directory, .words = platform::errorText(systemError), .systemError = systemError});
    }
    readManagedSettings(managed);
    readLocalConfiguration();
}

NebrixClient::~NebrixClient() {
    {
        Lock lock(m_mutex);
        m_closing = true;
        m_restart = false;
        endComponent();
    }
    m_downloadManager.cancel();
    join();
    StaticDownloadWrapper::unset(m_downloadManager);
}

/// A file that cannot be used keeps the program from connecting, not from starting: whoever looks after it is told.
void NebrixClient::readManagedSettings(const ManagedFile& file) {
    try {
        m_localConfiguration.setManaged(ManagedSettings::read(file));
    } catch (const ESettingsFile& caught) {
        m_managedFailure = caught;
        m_localConfiguration.setManaged(ManagedSettings::strictest(file.path));
    }
}

void NebrixClient::readLocalConfiguration() {
    const String path = getLocalConfPath();
    if (!File::exists(path)) {
        return;
    }
    log(LogCategory::Trace, "NebrixClient", "NebrixClient", "Loading local configuration from " + path);
    try {
        m_localConfiguration.readFromFile(path);
    } catch (const Exception& caught) {
        // A flaw in the settings must not keep anybody from connecting.
        logCaught(caught, sites::kClientDirectoryCatch);
        log(LogCategory::Error, "NebrixClient", "NebrixClient", "Incomplete local configuration in " + path);
    }
}

void NebrixClient::run(const String& mediation) {
    Lock lock(m_mutex);
    if (!m_attemptRuns) {
        m_mediation = mediation;
        start();
    }
}

void NebrixClient::restart() {
    Lock lock(m_mutex);
    if (!m_attemptRuns) {
        start();
        return;
    }
    m_restart = true;
    endComponent();
}

// With m_mutex held. A thread that has seen that it is over is about to end and takes no lock of ours any more.
void NebrixClient::start() {
    if (m_attemptRuns) {
        return;
    }
    m_restart = false;
    m_cancelled = false;
    m_downloadManager.resume();
    join();
    m_account.clear();  // here, not by the thread: a wish to end that comes before it runs is kept
    // Set before the thread can look at it, and taken back when there is none.
    m_attemptRuns = true;
    try {
        launch();
    } catch (...) {
        m_attemptRuns = false;
        throw;
    }
}

// With m_mutex held.
void NebrixClient::endComponent() {
    if (m_subClient != nullptr) {
        m_subClient->stop();
    }
    if (m_component != nullptr) {
        m_component->hurry();
    }
}

void NebrixClient::stop() {
    Lock lock(m_mutex);
    m_restart = false;
    if (m_subClient != nullptr) {
        m_account.record({.kind = EndKind::User});
        endComponent();
    }
}

void NebrixClient::cancel() {
    Lock lock(m_mutex);
    m_restart = false;
    m_cancelled = true;
    m_account.record({.kind = EndKind::User});
    m_downloadManager.cancel();
    endComponent();
}

void NebrixClient::showLogs() {
    Lock lock(m_mutex);
    if (m_subClient != nullptr) {
        m_subClient->showLogs();
    }
}

void NebrixClient::expectCertificate(const String& server, const String& fingerprint) {
    if (m_localConfiguration.managed().refuseExceptions) {
        log(LogCategory::Error, "NebrixClient", "expectCertificate",
            String("Certificate exceptions are forbidden by " + m_localConfiguration.managed().path));
        return;
    }
    m_expectedCertificates.emplace_back(server, fingerprint);
}

String NebrixClient::getMediation() const {
    Lock lock(m_mutex);
    return m_mediation;
}

String NebrixClient::getServer() const {
    Lock lock(m_mutex);
    return m_server;
}

void NebrixClient::saveLocalConfiguration() { m_localConfiguration.saveChanges(getLocalConfPath()); }

String NebrixClient::getLocalConfPath() { return File::getUserApplicationDataDirectory() + "nebrixclient.xml"; }

String NebrixClient::getLogFile() {
    const gc::Pointer<Console> console = Console::current();
    return console.valid() ? console->getFilename(LogCategory::Trace) : String("null");
}

String NebrixClient::getLangFromArg(const String& mediation) {
    try {
        return http::Uri::parse(mediation).getParameter("lang");
    } catch (const Exception& caught) {
        logCaught(caught, sites::kMainCatch);
        return {};
    }
}

Proxy NebrixClient::currentProxy() const {
    Proxy proxy = m_downloadManager.session().gatewayProxy();
    if (proxy.getCredentials().getLogin().empty()) {
        proxy.setCredentials(m_localConfiguration.getCredentials());
    }
    return proxy;
}

VerifiedComponent NebrixClient::verifyDllSignature(const String& dllPath, const String& sigPath) const {
    return tessel::verifyDllSignature(dllPath, sigPath);
}

void NebrixClient::main() {
    do {
        attempt();
    } while (takeRestart());
}

bool NebrixClient::takeRestart() {
    Lock lock(m_mutex);
    m_attemptRuns = m_restart;
    if (m_restart) {
        m_restart = false;
        m_cancelled = false;
        m_account.clear();
        m_downloadManager.resume();
    }
    return m_attemptRuns;
}

bool NebrixClient::restartRequested() const {
    Lock lock(m_mutex);
    return m_restart;
}

bool NebrixClient::isCancelled() const {
    Lock lock(m_mutex);
    return m_cancelled;
}

/// While the gateway is asked, so that nobody waits for it later.
void NebrixClient::startComponentProcess() {
    ComponentProcess::Setup setup;
    setup.download = &StaticDownloadWrapper::downloadFileTo;
    setup.cancelDownloads = [this] { m_downloadManager.cancel(); };
    setup.ended = [this] {
        Lock lock(m_mutex);
        // It learns why with its next call. Before the first one, to stop would mean that nobody ever asks.
        if (m_subClient != nullptr && m_component != nullptr && m_component->loaded()) {
            m_subClient->stop();
        }
    };
    setup.silent = [this](bool silent) {
        if (IProgressNotify* const progress = m_downloadManager.progress(); progress != nullptr) {
            progress->onComponentSilent(silent);
        }
    };
    setup.memoryLimit = m_localConfiguration.getComponentMemory();
    setup.debugger = m_componentDebugger;
    auto process = std::make_unique<ComponentProcess>(std::move(setup), m_account);
    Lock lock(m_mutex);
    m_component = std::move(process);
    if (m_restart || m_cancelled || m_closing) {
        m_component->hurry();
    }
}

/// Before anybody hears of the attempt's end: then nothing of the component runs any more.
void NebrixClient::endComponentProcess() {
    std::unique_ptr<ComponentProcess> ending;  // destroyed outside the lock, which its threads may take
    {
        Lock lock(m_mutex);
        ending = std::move(m_component);
    }
    if (ending == nullptr) {
        return;
    }
    ending.reset();
    Lock lock(m_mutex);
    if (!m_cancelled && !m_closing) {
        m_downloadManager.resume();
    }
}

/// Lets log and listener know how the attempt ended, before the notification that ends it.
void NebrixClient::tell() {
    const SessionEnd end = m_account.end();
    log(end.wanted() ? LogCategory::Trace : LogCategory::Error, "NebrixClient", "attempt",
        String("Session ended: " + describe(end)));
    if (m_accountListener != nullptr) {
        m_accountListener->onSessionEnd(end);
    }
}

void NebrixClient::over() {
    endComponentProcess();
    m_account.record({.kind = EndKind::Component});
    tell();
    m_notify.onStatus(ClientStatus::SessionOver);
}

/// What was given up fails in many ways, none of which is anybody's trouble.
void NebrixClient::fail() {
    endComponentProcess();
    // A component that had to be given up on the way to an end that was wanted is nobody's trouble either.
    if (isCancelled() || m_account.end().kind == EndKind::User) {
        over();
        return;
    }
    tell();
    m_notify.onFatalError(String::null);
}

void NebrixClient::failed(const SessionEnd& end) {
    setSubClient(nullptr);
    SessionEnd known = end;
    if (known.kind == EndKind::AnswerUnreadable) {
        known.host = getServer();
    }
    m_account.record(known);
    // Given up for the sake of the attempt that comes now.
    if (!restartRequested() || m_account.end().cause != EndCause::NoAnswer) {
        fail();
    }
}

void NebrixClient::attempt() {
    try {
        session();
    } catch (const EBadSignature& caught) {
        logCaught(caught, sites::kMainCatch);
        logLine(LogCategory::Error, "Bad component signature");
        failed(endOf(caught));
    } catch (const Exception& caught) {
        logCaught(caught, sites::kMainCatch);  // category TRACE also for this, deliberately
        failed(endOf(caught));
    } catch (const std::bad_alloc&) {
        logLine(LogCategory::Error, "unhandled exception");
        failed({.kind = EndKind::Internal, .cause = EndCause::Memory});
    } catch (...) {
        logLine(LogCategory::Error, "unhandled exception");
        failed({.kind = EndKind::Internal});
    }
    endComponentProcess();
}

void NebrixClient::session() {
    if (m_managedFailure) {
        throw ESettingsFile(*m_managedFailure);
    }
    warnOfOpenDirectories();
    logLine(LogCategory::Trace, "OpenSSL version: " + tls::TLS::getOpensslVersion());
    logLine(LogCategory::Trace, "Curl version: " + CurlInitializer::getCurlFullVersion());
    const String url = prepareRequest();
    startComponentProcess();
    Memory body;
    RequestInfo info;
    if (!m_downloadManager.session().request(url, body, info)) {
        m_account.record(endOf(info, EndKind::Unreachable, getServer()));
        if (isCancelled()) {
            over();
        } else {
            endComponentProcess();
            tell();
            m_notify.onConnectError(info);
        }
        return;
    }
    if (!readAnswer(String(body), info) || restartRequested()) {
        return;
    }
    if (isCancelled()) {
        over();
        return;
    }
    m_configuration->accept(*this);
    m_subClient->run(m_downloadManager.session());
    setSubClient(nullptr);
    if (!restartRequested()) {
        over();
    }
}

/// False when the gateway refuses, which is then told.
bool NebrixClient::readAnswer(const String& text, const RequestInfo& info) {
    const int httpStatus = info.getResponseHeader().getResponseCode();
    if (httpStatus != kHttpOk) {
        logLine(LogCategory::Error, "mediation response is HTTP." + toString(httpStatus));
    }
    try {
        MediationResponse response{text};
        if (!response.success()) {
            logLine(LogCategory::Error, response.exception());
            m_account.record({.kind = EndKind::Refused,
                              .host = getServer(),
                              .httpStatus = httpStatus,
                              .text = response.exception()});
            fail();
            return false;
        }
        loadConfiguration(response);
    } catch (const Exception& caught) {
        SessionEnd end = endOf(caught);
        end.host = getServer();
        end.httpStatus = httpStatus == kHttpOk ? 0 : httpStatus;
        if (const EndCause cause = identityCauseOf(info); cause != EndCause::None) {
            end = {.kind = EndKind::Unreachable, .cause = cause, .host = end.host, .httpStatus = httpStatus};
        }
        m_account.record(end);
        throw;
    }
    return true;
}

void NebrixClient::loadConfiguration(MediationResponse& response) {
    try {
        m_configuration = ClientConfiguration::load(response.reader()["result"]);
    } catch (Exception& caught) {
        caught.under("result");
        throw;
    }
}

String NebrixClient::prepareRequest() {
    http::Uri uri = http::Uri::parse(getMediation());
    const http::Authority authority(uri.getAuthority());
    const String& server = authority.getServer();
    {
        Lock lock(m_mutex);
        m_server = server;
    }
    NebrixClientCurlSession& session = m_downloadManager.session();
    session.search(server);  // as early as can be, since it goes on beside all else that comes before the request
    uri.setScheme("https");
    uri.setAuthority(server);
    uri.setParameter("clientversion", kClientVersion);

    for (const auto& [expected, fingerprint] : m_expectedCertificates) {
        session.expect(expected.empty() ? server : expected, fingerprint);
    }
    if (!m_expectedCertificates.empty()) {
        logLine(LogCategory::Trace, "A certificate was named: nothing is sent to its server before it is seen");
    }
    http::SetCookie identifier("Nebrix-Id", authority.getUserInformation(), authority.getHost(), "/");
    identifier.setSecure(true);
    session.setCookie(identifier);
    session.setUserAgent(String("NebrixClient ") + kClientVersion + " " + operatingSystem());
    m_downloadManager.setGateway(server);
    StaticDownloadWrapper::set(m_downloadManager);
    session.begin(server);
    return uri.getFullUri();
}

void NebrixClient::setSubClient(std::unique_ptr<ISubClient> subClient) {
    std::unique_ptr<ISubClient> old;  // destroyed outside the lock
    Lock lock(m_mutex);
    old = std::exchange(m_subClient, std::move(subClient));
    if (m_subClient != nullptr && (m_restart || m_cancelled || m_closing)) {
        m_subClient->stop();
    }
}

void NebrixClient::dispatch(ClientHostcheckerDllConfiguration& configuration) {
    m_notify.onDispatch(ClientType::HostChecker);
    setSubClient(std::make_unique<NebrixClientHostchecker>(*this, m_notify, configuration, m_downloadManager,
                                                           m_localConfiguration.getHostcheckerDownload()));
}

void NebrixClient::dispatch(ClientPluginDllConfiguration& configuration) {
    m_notify.onDispatch(ClientType::PluginDll);
    setSubClient(std::make_unique<NebrixClientPluginDll>(*this, m_notify, configuration, m_downloadManager,
                                                         m_localConfiguration.getPluginDownload()));
}

void NebrixClient::dispatch(NoTunnelClientPluginDllConfiguration& configuration) {
    m_notify.onDispatch(ClientType::PluginDllNoTunnel);
    setSubClient(std::make_unique<NebrixClientPluginDllNoTunnel>(*this, m_notify, configuration, m_downloadManager,
                                                                 m_localConfiguration.getPluginDownload()));
}

}  // namespace tessel
