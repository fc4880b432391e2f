// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/notunnelclient.h"

#include "apps/nebrixclient/client.h"
#include "apps/nebrixclient/signeddll.h"
#include "libs/base/log.h"

namespace tessel {

namespace {

constexpr const char* kClassName = "NebrixClientPluginDllNoTunnel";

}  // namespace

NebrixClientPluginDllNoTunnel::NebrixClientPluginDllNoTunnel(NebrixClient& client, INebrixClientNotify& /*notify*/,
                                                             NoTunnelClientPluginDllConfiguration& configuration,
                                                             DownloadManager& /*downloadManager*/, bool download)
    : m_client(client),
      m_configuration(configuration),
      m_files(client, kClassName, "PluginDllNoTunnel_", pluginDirectory(), download,
              ComponentDownload::Members::Moved) {}

void NebrixClientPluginDllNoTunnel::run(CurlSession& /*session*/) {
    const Dll dll = m_configuration.pluginDlls.current();
    ComponentDownload::checkNames(dll);
    m_files.fetch(dll);
    if (m_files.cancelled()) {
        return;
    }
    loadDll(dll);
    m_result = m_instance->LaunchSafeResource(m_configuration.safetype, m_configuration.service);
    if (m_result < 0) {
        m_client.account().record(
            {.kind = EndKind::ComponentFailed, .cause = EndCause::ResourceFailed, .number = m_result});
    }
}

void NebrixClientPluginDllNoTunnel::loadDll(const Dll& dll) {
    log(LogCategory::Trace, kClassName, "loadDll", "Load macosx module");
    m_client.component().prepare();
    const VerifiedComponent component = m_files.verify(dll);
    m_instance.emplace(m_client.component(), component.sealed, dll.version, pluginDirectory() + "/");
    m_files.remember(component);
}

}  // namespace tessel
