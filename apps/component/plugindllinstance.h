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

    /// The same for a session: the instance lives as long as the process, as the library and its threads do.
    static PluginDllInstance& keep(const LibrarySource& library, const String& version, const String& pluginDir);

    void configure(const Parameters& parameters);
    /// configure(), then start().
    void start(const Parameters& parameters);
    void start();
    void stop();

    /// Hands over "use|type|host|login|password|domain|save:no". Raises NullException only if the proxy does.
    void setProxy(bool useProxy, const Proxy& proxy);

    String getLogs();
    /// The plug-in's status list.
    String getErrors();
    int execute(const String& a, const String& b, const String& c);
    /// Hands over the callback, then opens the resource; 0 when the plug-in has no such entry.
    int LaunchSafeResource(int id, const String& name, NebrixDownloadFileTo downloadDelegate);

private:
    template <class Function>
    Function optionalEntry(const char* name, const char* whenMissing) const;
    /// Copies a text of the plug-in and gives it back.
    String strResponse(char* text);

    void* m_instance = nullptr;
    NebrixDllCreatePluginFrontal m_createPluginFrontal;
    NebrixDllSetDllVersion2 m_setDllVersion;
    NebrixDllSetPluginDir2 m_setPluginDir;
    NebrixDllSetLogin2 m_setLogin;
    NebrixDllSetOrganization2 m_setOrganization;
    NebrixDllSetHostname2 m_setHostname;
    NebrixDllSetServer2 m_setServer;
    NebrixDllSetSuffix2 m_setSuffix;
    NebrixDllSetTicket2 m_setTicket;
    NebrixDllSetSessionId2 m_setSessionId;
    NebrixDllSetCertDirectory2 m_setCertDirectory;
    NebrixDllSetCertFileName2 m_setCertFileName;
    NebrixDllSetCaFileName2 m_setCaFileName;
    NebrixDllSetCertPassword2 m_setCertPassword;
    NebrixDllSetDownloadDelegate2 m_setDownloadDelegate;
    NebrixDllSetProxy2 m_setProxy;
    NebrixDllGetLogs2 m_getLogs;
    NebrixDllExecute2 m_execute;
    NebrixDllGetErrors2 m_getErrors;
    NebrixDllStart2 m_start;
    NebrixDllStop2 m_stop;
    NebrixDllReleaseStr m_releaseStr;
    NebrixLaunchSafeResource m_launchSafeResource;                       // may be null
    NebrixDllAddSslServerCertificateName m_addSslServerCertificateName;  // may be null
};

}  // namespace tessel
