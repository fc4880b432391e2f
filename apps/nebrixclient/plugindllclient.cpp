// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/plugindllclient.h"

#include <algorithm>
#include <string_view>

#include "apps/nebrixclient/client.h"
#include "apps/nebrixclient/componentthreads.h"
#include "apps/nebrixclient/plainname.h"
#include "apps/nebrixclient/signeddll.h"
#include "apps/nebrixclient/sites.h"
#include "libs/base/log.h"
#include "libs/http/authority.h"

namespace tessel {

namespace {

constexpr const char* kClassName = "NebrixClientPluginDll";

/// The gateway's server as a directory name: every byte but letters, digits, ".", "_" and "-" becomes "_".
String directoryName(const String& server) {
    String name = server.clone();
    for (unsigned i = 0; i < name.length(); ++i) {
        const char c = name[i];
        const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        if (!letter && !(c >= '0' && c <= '9') && c != '.' && c != '_' && c != '-') {
            name.setAt(i, '_');
        }
    }
    // The two names that are not directories of their own.
    return name == "." || name == ".." ? name.replace('.', '_') : name;
}

/// The end of a plug-in's own log, in which the secrets that it was given are not to be, and are not.
void logNotes(String notes, Strings secrets) {
    constexpr std::size_t kMost = 65536;
    constexpr unsigned kShortestSecret = 4;
    // The longest first: one may begin like another.
    std::sort(secrets.begin(), secrets.end(),
              [](const String& one, const String& other) { return one.length() > other.length(); });
    for (const String& secret : secrets) {
        if (secret.length() >= kShortestSecret) {
            notes = notes.replace(secret, "***");
        }
    }
    const std::string_view text = notes.view();
    logComponentLines("notes", text.substr(text.size() - std::min(text.size(), kMost)));
}

}  // namespace

NebrixClientPluginDll::NebrixClientPluginDll(NebrixClient& client, INebrixClientNotify& notify,
                                             ClientPluginDllConfiguration& configuration,
                                             DownloadManager& downloadManager, bool download)
    : m_client(client),
      m_configuration(configuration),
      m_downloadManager(downloadManager),
      m_files(client, kClassName, "PluginDll_", pluginDirectory(), download),
      m_status(notify, m_stop, client.account()) {}

void NebrixClientPluginDll::run(CurlSession& /*session*/) {
    const Dll dll = m_configuration.pluginDlls.current();
    ComponentDownload::checkNames(dll);
    requirePlainName("filename", m_configuration.certificates.cert.filename);
    requirePlainName("filename", m_configuration.certificates.ca.filename);
    m_files.fetch(dll);
    if (!m_stop.requested()) {  // else every one would be given up with an error in the log
        downloadCerts();
    }
    if (m_stop.requested()) {
        return;
    }
    loadDll(dll);
    if (!m_instance.has_value()) {
        return;
    }
    const bool proxySet = trySetProxy();
    try {
        m_instance->start(parameters());
        if (!proxySet) {
            setProxy();
        }
        poll();
    } catch (...) {
        stopAfterFailure();
        throw;
    }
    stopPlugin();
}

void NebrixClientPluginDll::stopPlugin() {
    const ClientPluginDllConfiguration& with = m_configuration;
    logNotes(m_instance->stop(), {with.ticket, with.sessionid, with.certPassword, with.clientid, m_proxyPassword});
}

/// What was started is told of its end, also when one of its entries failed.
void NebrixClientPluginDll::stopAfterFailure() noexcept {
    if (m_client.component().gone()) {
        return;
    }
    try {
        stopPlugin();
    } catch (...) {
        log(LogCategory::Error, kClassName, "run", "the plug-in failed in its stop as well");
    }
}

void NebrixClientPluginDll::poll() {
    do {
        m_status.process(m_instance->getErrors());
    } while (!m_stop.wait(m_stop.requested() ? 0 : kPollInterval));
}

String NebrixClientPluginDll::getCertDir() const {
    return pluginDirectory() + "/" + "PKIs" + "/" + directoryName(m_configuration.server);
}

void NebrixClientPluginDll::downloadCerts() {
    const String directory = getCertDir();
    m_downloadManager.downloadFromConfig(m_configuration.certificates.cert, directory);
    m_downloadManager.downloadFromConfig(m_configuration.certificates.ca, directory);
}

void NebrixClientPluginDll::loadDll(const Dll& dll) {
    log(LogCategory::Trace, kClassName, "loadDll", "Load macosx (openssl3) module");
    m_client.component().prepare();
    const VerifiedComponent component = m_files.verify(dll);
    if (m_stop.requested()) {  // it may have been fetched once more, which takes its time
        return;
    }
    m_instance.emplace(m_client.component(), component.sealed, dll.version, pluginDirectory() + "/");
    m_files.remember(component);
    log(LogCategory::Trace, kClassName, "loadDll", "Module loaded");
}

void NebrixClientPluginDll::setProxy() {
    const Proxy proxy = m_client.currentProxy();
    m_proxyPassword = proxy.getCredentials().getPassword();
    m_instance->setProxy(true, proxy);
}

bool NebrixClientPluginDll::trySetProxy() {
    try {
        setProxy();
        return true;
    } catch (const NullException& caught) {
        logCaught(caught, sites::kPluginProxyCatch);
        return false;
    }
}

PluginProcess::Parameters NebrixClientPluginDll::parameters() const {
    const ClientPluginDllConfiguration& from = m_configuration;
    PluginProcess::Parameters to;
    to.login = from.login;
    to.organization = from.orgname;
    to.hostname = http::Authority(m_client.getServer()).getHost();
    to.server = from.server;
    to.suffix = from.clientid;
    to.ticket = from.ticket;
    to.sessionId = from.sessionid;
    to.certDirectory = getCertDir();
    to.certFileName = from.certificates.cert.filename;
    to.caFileName = from.certificates.ca.filename;
    to.certPassword = from.certPassword;
    to.sslServerNames = from.sslservercertname;
    return to;
}

}  // namespace tessel
