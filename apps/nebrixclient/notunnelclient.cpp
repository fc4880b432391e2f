#include "apps/nebrixclient/notunnelclient.h"

#include "apps/nebrixclient/client.h"
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
    m_result = m_instance->LaunchSafeResource(m_configuration.safetype, m_configuration.service,
                                              &StaticDownloadWrapper::downloadFileTo);
}

void NebrixClientPluginDllNoTunnel::downloadDll(const Dll& dll) {
    if (!m_files.fetch(dll)) {
        return;
    }
    // Library and signature are expected at the top of the archive; a missing one ends the session here.
    const String unpacked = File::getSubPath(m_files.libraryPath(dll)) + "/" + dll.pattern;
    m_files.move(unpacked, m_files.libraryPath(dll));
    m_files.move(unpacked + ".sig", m_files.signaturePath(dll));
}

void NebrixClientPluginDllNoTunnel::loadDll(const Dll& dll) {
    log(LogCategory::Trace, kClassName, "loadDll", "Load macosx module");
    const String library = m_files.libraryPath(dll);
    m_client.verifyDllSignature(library, m_files.signaturePath(dll));
    m_instance = &PluginDllInstance::keep(library, dll.version, pluginDirectory() + "/");
}

}  // namespace tessel
