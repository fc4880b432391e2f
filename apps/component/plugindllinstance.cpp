// SPDX-License-Identifier: Apache-2.0
#include "apps/component/plugindllinstance.h"

#include <cstring>

#include "apps/component/sites.h"
#include "libs/base/log.h"

namespace tessel {

namespace {

void logLine(const char* text) { log(LogCategory::Error, "PluginDllInstance", "PluginDllInstance", text); }

}  // namespace

String copyComponentText(const char* text, unsigned longest) {
    if (text == nullptr) {
        return {};
    }
    return String::copy(text, static_cast<unsigned>(strnlen(text, longest)));
}

template <class Function>
ComponentEntry<Function> PluginDllInstance::optionalEntry(const char* name, const char* whenMissing) const {
    try {
        return entry<Function>(name);
    } catch (const EModuleLoader& caught) {
        logCaught(caught, sites::kPluginOptionalCatch);
        logLine(whenMissing);
        return {name, nullptr};
    }
}

// The order of the members is the order in which entries are looked for: the first missing one is named in the log.
PluginDllInstance::PluginDllInstance(const LibrarySource& library, const String& version, const String& pluginDir)
    : ModuleLoader(library),
      m_createPluginFrontal(entry<NebrixDllCreatePluginFrontal>(NEBRIX_NAME_CREATE_PLUGIN_FRONTAL)),
      m_setDllVersion(entry<NebrixDllSetDllVersion2>(NEBRIX_NAME_SET_DLL_VERSION)),
      m_setPluginDir(entry<NebrixDllSetPluginDir2>(NEBRIX_NAME_SET_PLUGIN_DIR)),
      m_setLogin(entry<NebrixDllSetLogin2>(NEBRIX_NAME_SET_LOGIN)),
      m_setOrganization(entry<NebrixDllSetOrganization2>(NEBRIX_NAME_SET_ORGANIZATION)),
      m_setHostname(entry<NebrixDllSetHostname2>(NEBRIX_NAME_SET_HOSTNAME)),
      m_setServer(entry<NebrixDllSetServer2>(NEBRIX_NAME_SET_SERVER)),
      m_setSuffix(entry<NebrixDllSetSuffix2>(NEBRIX_NAME_SET_SUFFIX)),
      m_setTicket(entry<NebrixDllSetTicket2>(NEBRIX_NAME_SET_TICKET)),
      m_setSessionId(entry<NebrixDllSetSessionId2>(NEBRIX_NAME_SET_SESSION_ID)),
      m_setCertDirectory(entry<NebrixDllSetCertDirectory2>(NEBRIX_NAME_SET_CERT_DIRECTORY)),
      m_setCertFileName(entry<NebrixDllSetCertFileName2>(NEBRIX_NAME_SET_CERT_FILE_NAME)),
      m_setCaFileName(entry<NebrixDllSetCaFileName2>(NEBRIX_NAME_SET_CA_FILE_NAME)),
      m_setCertPassword(entry<NebrixDllSetCertPassword2>(NEBRIX_NAME_SET_CERT_PASSWORD)),
      m_setDownloadDelegate(entry<NebrixDllSetDownloadDelegate2>(NEBRIX_NAME_SET_DOWNLOAD_DELEGATE)),
      m_setProxy(entry<NebrixDllSetProxy2>(NEBRIX_NAME_SET_PROXY)),
      m_getLogs(entry<NebrixDllGetLogs2>(NEBRIX_NAME_GET_LOGS)),
      m_execute(entry<NebrixDllExecute2>(NEBRIX_NAME_EXECUTE)),
      m_getErrors(entry<NebrixDllGetErrors2>(NEBRIX_NAME_GET_ERRORS)),
      m_start(entry<NebrixDllStart2>(NEBRIX_NAME_START)),
      m_stop(entry<NebrixDllStop2>(NEBRIX_NAME_STOP)),
      m_releaseStr(entry<NebrixDllReleaseStr>(NEBRIX_NAME_RELEASE_STR)),
      m_launchSafeResource(optionalEntry<NebrixLaunchSafeResource>(
          NEBRIX_NAME_LAUNCH_SAFE_RESOURCE, "LaunchSafeResource missing. LaunchSafeResource disabled")),
      m_addSslServerCertificateName(optionalEntry<NebrixDllAddSslServerCertificateName>(
          NEBRIX_NAME_ADD_SSL_SERVER_CERTIFICATE_NAME,
          "DllAddSslServerCertificateName missing. SSL server certificate name verification disabled")) {
    m_instance = m_createPluginFrontal();
    if (m_instance == nullptr) {
        logLine("Unable to create dll instance !");
        raise<EPluginDllInstance>("EPluginDllInstance", sites::kPluginCreate);
    }
    m_setDllVersion(m_instance, version.str());
    m_setPluginDir(m_instance, pluginDir.str());
}

void PluginDllInstance::configure(const Parameters& parameters) {
    m_setLogin(m_instance, parameters.login.str());
    m_setOrganization(m_instance, parameters.organization.str());
    m_setHostname(m_instance, parameters.hostname.str());
    m_setServer(m_instance, parameters.server.str());
    m_setSuffix(m_instance, parameters.suffix.str());
    m_setTicket(m_instance, parameters.ticket.str());
    m_setSessionId(m_instance, parameters.sessionId.str());
    m_setCertDirectory(m_instance, parameters.certDirectory.str());
    m_setCertFileName(m_instance, parameters.certFileName.str());
    m_setCaFileName(m_instance, parameters.caFileName.str());
    m_setCertPassword(m_instance, parameters.certPassword.str());
    m_setDownloadDelegate(m_instance, parameters.downloadDelegate);
    if (m_addSslServerCertificateName) {
        for (const String& name : parameters.sslServerNames) {
            m_addSslServerCertificateName(m_instance, name.str());
        }
    }
}

void PluginDllInstance::start(const Parameters& parameters) {
    configure(parameters);
    start();
}

void PluginDllInstance::start() { m_start(m_instance); }

void PluginDllInstance::stop() { m_stop(m_instance); }

void PluginDllInstance::setProxy(bool useProxy, const Proxy& proxy) {
    const Credentials credentials = proxy.getCredentials();
    const String text =
        String("|").glue({useProxy ? "1" : "0", proxy.getTypeString(), proxy.getHost(), credentials.getLogin(),
                          credentials.getPassword(), credentials.getDomain(), "save:no"});
    m_setProxy(m_instance, text.str());
}

String PluginDllInstance::strResponse(char* text) {
    String copy = copyComponentText(text);
    if (text != nullptr) {
        m_releaseStr(text);
    }
    return copy;
}

String PluginDllInstance::getLogs() { return strResponse(m_getLogs(m_instance)); }

String PluginDllInstance::getErrors() { return strResponse(m_getErrors(m_instance)); }

int PluginDllInstance::execute(const String& a, const String& b, const String& c) {
    return m_execute(m_instance, a.str(), b.str(), c.str());
}

int PluginDllInstance::LaunchSafeResource(int id, const String& name, NebrixDownloadFileTo downloadDelegate) {
    m_setDownloadDelegate(m_instance, downloadDelegate);
    return m_launchSafeResource ? m_launchSafeResource(m_instance, id, name.str()) : 0;
}

}  // namespace tessel
