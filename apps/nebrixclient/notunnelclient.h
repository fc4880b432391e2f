// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "apps/nebrixclient/componentdownload.h"
#include "apps/nebrixclient/componentstandin.h"
#include "apps/nebrixclient/subclient.h"

namespace tessel {

class INebrixClientNotify;
class NebrixClient;

/// Runs a plug-in that opens one published resource without a tunnel: fetches, verifies and loads it, makes one call.
class NebrixClientPluginDllNoTunnel final : public ISubClient {
public:
    /// All references must outlive this object.
    NebrixClientPluginDllNoTunnel(NebrixClient& client, INebrixClientNotify& notify,
                                  NoTunnelClientPluginDllConfiguration& configuration, DownloadManager& downloadManager,
                                  bool download);

    void run(CurlSession& session) override;
    /// Nothing to end: the resource that was opened lives on its own.
    void stop() override {}
    void showLogs() override {}

    /// What the plug-in said to its call; 0 before.
    [[nodiscard]] int result() const noexcept { return m_result; }

private:
    void loadDll(const Dll& dll);

    NebrixClient& m_client;
    NoTunnelClientPluginDllConfiguration& m_configuration;
    ComponentDownload m_files;
    std::optional<PluginProcess> m_instance;
    int m_result = 0;
};

}  // namespace tessel
