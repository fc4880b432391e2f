#include "apps/nebrixclient/notunnelclient.h"

#include "apps/nebrixclient/client.h"
#include "apps/nebrixclient/componentcall.h"
#include "apps/nebrixclient/staticdownloadwrapper.h"
#include "libs/base/file.h"
#include "libs/base/log.h"

namespace tessel {

namespace {

constexpr const char* kClassName = "NebrixClientPluginDllNoTunnel";

}  // namespace

NebrixClientPluginDllNoTunnel::NebrixClientPluginDllNoTunnel(NebrixClient& client, INebrixClientNotify& /*notify*/,
                                                             NoTunnelClientPluginDllConfiguration& configuration,
                                                             DownloadManager& downloadManager, bool download)
    : m_client(client),
      m_configuration(configuration),
      m_files(downloadManager, kClassName, "PluginDllNoTunnel_", pluginDirectory(), download) {}

void NebrixClientPluginDllNoTunnel::run(CurlSession& /*session*/) {
    const Dll dll = m_configuration.pluginDlls.current();
    ComponentDownload::checkNames(dll);
    downloadDll(dll);
    if (m_files.cancelled()) {
        return;
    }
    loadDll(dll);
    m_result = callComponent(m_client.account(), NEBRIX_NAME_LAUNCH_SAFE_RESOURCE, [this] {
        return m_instance->LaunchSafeResource(m_configuration.safetype, m_configuration.service,
                                              &StaticDownloadWrapper::downloadFileTo);
    });
    if (m_result < 0) {
        m_client.account().record(
            {.kind = EndKind::ComponentFailed, .cause = EndCause::ResourceFailed, .number = m_result});
    }
}

void NebrixClientPluginDllNoTunnel::downloadDll(const Dll& dll) {
    if (!m_files.fetch(dll)) {
        return;
    }
    // Library and signature are expected at the top of the archive; a missing one ends the session here.
    const String unpacked = File::getSubPath(m_files.libraryPath(dll)) + "/" + dll.pattern;
    try {
        m_files.move(unpacked, m_files.libraryPath(dll));
        m_files.move(unpacked + ".sig", m_files.signaturePath(dll));
    } catch (const EFile&) {
        m_client.account().record(m_files.trouble());
        throw;
    }
}

void NebrixClientPluginDllNoTunnel::loadDll(const Dll& dll) {
    log(LogCategory::Trace, kClassName, "loadDll", "Load macosx module");
    const String library = m_files.libraryPath(dll);
    m_files.verify(dll, m_client);
    m_instance = &PluginDllInstance::keep(library, dll.version, pluginDirectory() + "/");
}

}  // namespace tessel
