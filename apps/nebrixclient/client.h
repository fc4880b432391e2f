// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "apps/nebrixclient/account.h"
#include "apps/nebrixclient/clientconfiguration.h"
#include "apps/nebrixclient/clientlocalconfiguration.h"
#include "apps/nebrixclient/componentprocess.h"
#include "apps/nebrixclient/downloadmanager.h"
#include "apps/nebrixclient/notify.h"
#include "apps/nebrixclient/subclient.h"
#include "apps/nebrixclient/version.h"
#include "libs/base/mutex.h"
#include "libs/base/thread.h"

namespace tessel {

class MediationResponse;
struct VerifiedComponent;

TESSEL_EXCEPTION(ENebrixClient, Exception);

/// The session driver: takes one mediation string to a running component, on a thread of its own named "nebrixclient".
///
/// Outcomes reach the user interface through INebrixClientNotify, on that thread. run(), restart(), stop(),
/// showLogs() and the accessors may be called on any thread, at any moment, also from within a notification. The
/// driver itself never retries and has no timer. One object serves a process.
class NebrixClient final : public ClientConfigurationDispatcher, public Thread {
public:
    /// Sends every log category to the log file (when that is not ours, to "nebrixclient.log" in the user's
    /// application-data directory), makes that directory and enters it, and reads the local configuration; a flaw in it
    /// is logged. Settings that `managed` names go before the user's; where that file cannot be used every attempt
    /// fails for that, and says so. `notify` must outlive this object. Raises EFile when the directory cannot be had.
    explicit NebrixClient(INebrixClientNotify& notify, const String& logFile = kLogFile,
                          const ManagedFile& managed = {});
    /// Ends what still runs, and waits for it.
    ~NebrixClient() override;

    /// Starts an attempt; does nothing while one runs, and changes nothing of that one. The mediation string is a URL
    /// whose user information is the client identifier, a secret. Like restart() it raises EThread when there is no
    /// thread to be had.
    void run(const String& mediation);
    /// Starts a new attempt with the same mediation string. While the old one still runs, its component is asked to
    /// end and the new attempt begins when it has; status 4 is not reported in between.
    void restart();
    /// Asks the component to end; without one it does nothing. An attempt that restart() asked for is given up.
    void stop();
    /// Gives the attempt up, whatever it is doing: like stop(), and ends a running transfer within about a second and
    /// unpacking at once. The attempt then reports status 4, and no error. Lasts until the next run() or restart().
    void cancel();
    void showLogs();

    /// While this object lives, the server (host and port as its URLs write them; empty for the gateway) must have the
    /// certificate with this SHA-256 fingerprint (lower-case hexadecimal) and no other, whoever issued it. Nothing is
    /// sent to it, nor saved, before that is known. For any number of servers; set before run(). Does nothing but
    /// log where exceptions are refused.
    void expectCertificate(const String& server, const String& fingerprint);

    /// The component's process waits for a debugger before it loads the component. Set before run().
    void setComponentDebugger(bool wanted) noexcept { m_componentDebugger = wanted; }

    /// Who hears how far downloads are and when the next host check is; null for nobody. Set before run().
    void setProgress(IProgressNotify* progress) noexcept { m_downloadManager.setProgress(progress); }

    /// Who hears how each attempt ended; null for nobody. Set before run().
    void setAccountListener(IAccountNotify* listener) noexcept { m_accountListener = listener; }
    /// How the running attempt ends, or the last one ended: for components to record in, and for anybody to read.
    SessionAccount& account() noexcept { return m_account; }

    [[nodiscard]] String getMediation() const;
    /// The gateway's authority of the running attempt, with its port.
    [[nodiscard]] String getServer() const;

    ClientLocalConfiguration& localConfiguration() noexcept { return m_localConfiguration; }
    /// As ClientLocalConfiguration::saveChanges() does.
    void saveLocalConfiguration();
    static String getLocalConfPath();
    /// The file that the log is written to; "null" when there is none.
    static String getLogFile();
    /// The query parameter "lang" of a mediation string; empty without one or for what is no URI.
    static String getLangFromArg(const String& mediation);

    /// The proxy as plug-ins are told it: the one that the gateway was asked through, where settings or the desktop
    /// name one; else of type none, which leaves the choice to the environment. With the user's credentials, or the
    /// way's own.
    [[nodiscard]] Proxy currentProxy() const;
    /// Returns only when the library is genuine, with what was found so; else logs and raises EBadSignature.
    VerifiedComponent verifyDllSignature(const String& dllPath, const String& sigPath) const;
    DownloadManager& downloadManager() noexcept { return m_downloadManager; }

    /// The process that this session's component runs in. On the driver's thread, while a component runs.
    ComponentProcess& component() noexcept { return *m_component; }

    // Called by the configuration, on the driver's thread.
    void dispatch(ClientHostcheckerDllConfiguration& configuration) override;
    void dispatch(ClientPluginDllConfiguration& configuration) override;
    void dispatch(NoTunnelClientPluginDllConfiguration& configuration) override;

protected:
    void main() override;

private:
    using Thread::launch;  // run() is the way in

    void readManagedSettings(const ManagedFile& file);
    void readLocalConfiguration();
    void start();
    void attempt();
    void session();
    String prepareRequest();
    void setSubClient(std::unique_ptr<ISubClient> subClient);
    bool readAnswer(const String& text, const RequestInfo& info);
    void loadConfiguration(MediationResponse& response);
    void tell();
    void over();
    void fail();
    void failed(const SessionEnd& end);
    void startComponentProcess();
    void endComponentProcess();
    void endComponent();
    bool restartRequested() const;
    bool isCancelled() const;
    bool takeRestart();

    // Set at construction.
    INebrixClientNotify& m_notify;
    List<std::pair<String, String>> m_expectedCertificates;  // of a server, or of the gateway: the fingerprint
    bool m_componentDebugger = false;
    std::optional<ESettingsFile> m_managedFailure;
    // These synchronise themselves.
    IAccountNotify* m_accountListener = nullptr;
    SessionAccount m_account;
    ClientLocalConfiguration m_localConfiguration;
    DownloadManager m_downloadManager;
    // The driver's thread only.
    gc::Pointer<ClientConfiguration> m_configuration;

    mutable Mutex
        m_mutex;  // guards all below; held while a component's stop() or showLogs() runs, which return at once
    String m_mediation;
    String m_server;
    std::unique_ptr<ComponentProcess> m_component;  // like m_subClient, which uses it
    std::unique_ptr<ISubClient> m_subClient;        // created, replaced and destroyed on the driver's thread only
    bool m_attemptRuns = false;                     // from start() until main() has seen that no restart is wanted
    bool m_restart = false;
    bool m_cancelled = false;  // from cancel() to the next attempt
    bool m_closing = false;    // set for good by the destructor: a component made after that is stopped at once
};

}  // namespace tessel
