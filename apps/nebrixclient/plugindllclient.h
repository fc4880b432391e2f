// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "apps/nebrixclient/componentdownload.h"
#include "apps/nebrixclient/componentstandin.h"
#include "apps/nebrixclient/notify.h"
#include "apps/nebrixclient/pluginstatus.h"
#include "apps/nebrixclient/stopflag.h"
#include "apps/nebrixclient/subclient.h"

namespace tessel {

class NebrixClient;

/// Runs the tunnel plug-in: fetches library and certificates, verifies and loads the library, hands it the session's
/// parameters, starts it, and asks it for news twice a second until it is to end.
class NebrixClientPluginDll final : public ISubClient {
public:
    /// Milliseconds between two polls.
    static constexpr unsigned kPollInterval = 500;

    /// All references must outlive this object. `download`: whether files are fetched at all.
    NebrixClientPluginDll(NebrixClient& client, INebrixClientNotify& notify,
                          ClientPluginDllConfiguration& configuration, DownloadManager& downloadManager, bool download);

    void run(CurlSession& session) override;
    void stop() override { m_stop.request(); }
    void showLogs() override {}

    /// Where the tunnel's certificates of this gateway lie.
    [[nodiscard]] String getCertDir() const;

private:
    void downloadCerts();
    void loadDll(const Dll& dll);
    [[nodiscard]] PluginProcess::Parameters parameters() const;
    void setProxy();
    bool trySetProxy();
    void poll();
    void stopPlugin();
    void stopAfterFailure() noexcept;

    NebrixClient& m_client;
    ClientPluginDllConfiguration& m_configuration;
    DownloadManager& m_downloadManager;
    ComponentDownload m_files;
    std::optional<PluginProcess> m_instance;
    String m_proxyPassword;  // as the plug-in knows it
    StopFlag m_stop;
    PluginStatus m_status;
};

}  // namespace tessel
