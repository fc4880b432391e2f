// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "apps/component/moduleloader.h"
#include "libs/http/proxy.h"
#include "sdk/include/nebrix_component.h"

namespace tessel {

/// A plug-in refused to make its instance.
TESSEL_EXCEPTION(EPluginDllInstance, Exception);

/// Bytes of a component's text that are taken over.
inline constexpr unsigned kLongestComponentText = 1024 * 1024;

/// Copies at most `longest` bytes of a component's text; a null pointer counts as the empty text.
String copyComponentText(const char* text, unsigned longest = kLongestComponentText);

/// A loaded plug-in: its instance handle and its entries, in the form of the contract in the component header.
/// All calls into the plug-in are made on the thread that uses this object.
class PluginDllInstance final : public ModuleLoader {
public:
    /// What start() hands over, in the order of the setters. Ticket, session id and password are secrets.
    struct Parameters {
        String login;
        String organization;
        String hostname;
        String server;
        String suffix;
        String ticket;
        String sessionId;
        String certDirectory;
        String certFileName;
        String caFileName;
        String certPassword;
        List<String> sslServerNames;
        NebrixDownloadFileTo downloadDelegate = nullptr;
    };

    /// Opens a verified library, finds its entries and makes the instance. Raises EModuleLoader for a missing
    /// required entry, EPluginDllInstance when the plug-in makes no instance; missing optional entries are logged.
    PluginDllInstance(const LibrarySource& library, const String& version, const String& pluginDir);

    void configure(const Parameters& parameters);
    /// configure(), then start().
    void start(const Parameters& parameters);
    void start();
    void stop();

    /// Hands over "use|type|host|login|password|domain|save:no". Raises NullException only if the proxy does.
    void setProxy(bool useProxy, const Proxy& proxy);

    /// The handle that the plug-in made.
    [[nodiscard]] void* instance() const noexcept { return m_instance; }
    String getLogs();
    /// The plug-in's status list.
    String getErrors();
    int execute(const String& a, const String& b, const String& c);
    /// Hands over the callback, then opens the resource; 0 when the plug-in has no such entry.
    int LaunchSafeResource(int id, const String& name, NebrixDownloadFileTo downloadDelegate);

private:
    template <class Function>
    ComponentEntry<Function> optionalEntry(const char* name, const char* whenMissing) const;
    /// Copies a text of the plug-in and gives it back.
    String strResponse(char* text);

    void* m_instance = nullptr;
    ComponentEntry<NebrixDllCreatePluginFrontal> m_createPluginFrontal;
    ComponentEntry<NebrixDllSetDllVersion2> m_setDllVersion;
    ComponentEntry<NebrixDllSetPluginDir2> m_setPluginDir;
    ComponentEntry<NebrixDllSetLogin2> m_setLogin;
    ComponentEntry<NebrixDllSetOrganization2> m_setOrganization;
    ComponentEntry<NebrixDllSetHostname2> m_setHostname;
    ComponentEntry<NebrixDllSetServer2> m_setServer;
    ComponentEntry<NebrixDllSetSuffix2> m_setSuffix;
    ComponentEntry<NebrixDllSetTicket2> m_setTicket;
    ComponentEntry<NebrixDllSetSessionId2> m_setSessionId;
    ComponentEntry<NebrixDllSetCertDirectory2> m_setCertDirectory;
    ComponentEntry<NebrixDllSetCertFileName2> m_setCertFileName;
    ComponentEntry<NebrixDllSetCaFileName2> m_setCaFileName;
    ComponentEntry<NebrixDllSetCertPassword2> m_setCertPassword;
    ComponentEntry<NebrixDllSetDownloadDelegate2> m_setDownloadDelegate;
    ComponentEntry<NebrixDllSetProxy2> m_setProxy;
    ComponentEntry<NebrixDllGetLogs2> m_getLogs;
    ComponentEntry<NebrixDllExecute2> m_execute;
    ComponentEntry<NebrixDllGetErrors2> m_getErrors;
    ComponentEntry<NebrixDllStart2> m_start;
    ComponentEntry<NebrixDllStop2> m_stop;
    ComponentEntry<NebrixDllReleaseStr> m_releaseStr;
    ComponentEntry<NebrixLaunchSafeResource> m_launchSafeResource;                       // may be null
    ComponentEntry<NebrixDllAddSslServerCertificateName> m_addSslServerCertificateName;  // may be null
};

}  // namespace tessel
