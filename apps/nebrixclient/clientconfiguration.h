// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/confhelper.h"
#include "libs/base/gcobject.h"

namespace tessel {

/// The gateway's configuration cannot be used.
TESSEL_EXCEPTION(EClientConfiguration, Exception);

class ClientHostcheckerDllConfiguration;
class ClientPluginDllConfiguration;
class NoTunnelClientPluginDllConfiguration;

/// Visitor of the typed configurations: exactly one overload is called for a session.
class ClientConfigurationDispatcher {
public:
    virtual void dispatch(ClientHostcheckerDllConfiguration& configuration) = 0;
    virtual void dispatch(ClientPluginDllConfiguration& configuration) = 0;
    virtual void dispatch(NoTunnelClientPluginDllConfiguration& configuration) = 0;
    virtual ~ClientConfigurationDispatcher() = default;
};

// The configurations below are filled once by keywrite(), on the driver's thread, and only read afterwards. Missing
// required keys raise EConfMissingKey; values of the wrong type raise the reader's own exception. The texts are the
// gateway's and trusted in nothing: what becomes part of a path is checked where it is used (see downloadmanager.h).

/// One file that the gateway offers.
struct DownloadConfig : IConf {
    String filename;
    String md5;      ///< of the file, lower-case hexadecimal; may be empty
    String urlpath;  ///< the file's URL is this text directly followed by the file name

    void keywrite(IKeyReader& reader) override;
};

/// A component's archive.
struct Dll : DownloadConfig {
    String pattern;  ///< the library's file name inside the archive
    String version;

    void keywrite(IKeyReader& reader) override;
};

/// A component's archives, one for each platform. Those without "_openssl3" serve older clients.
struct Dlls : IConf {
    DeferredOptionalConf<Dll> win32;
    DeferredOptionalConf<Dll> win64;
    DeferredOptionalConf<Dll> mac;
    DeferredOptionalConf<Dll> macOpenssl3;
    DeferredOptionalConf<Dll> linux64;
    DeferredOptionalConf<Dll> linux64Openssl3;

    void keywrite(IKeyReader& reader) override;
    /// The entry of the platform this program was built for; raises EConfUsingMissingOptionalConf without it.
    [[nodiscard]] Dll current() const;
};

/// The client certificate and the certificate authority for the tunnel.
struct Certificates : IConf {
    DownloadConfig cert;
    DownloadConfig ca;

    void keywrite(IKeyReader& reader) override;
};

/// A configuration that knows its dispatch overload.
class TypedConfiguration : public gc::ObjectDelete, public IConf {
public:
    virtual void accept(ClientConfigurationDispatcher& dispatcher) = 0;
};

/// "plugindll": the tunnel plug-in. Ticket, session id and certificate password are secrets.
class ClientPluginDllConfiguration final : public TypedConfiguration {
public:
    String orgname;
    String server;
    String certPassword;
    String login;
    String ticket;
    String sessionid;
    Dlls pluginDlls;
    Certificates certificates;
    String clientid;
    List<String> sslservercertname;  ///< accepted names of the server's certificate; may be empty

    void keywrite(IKeyReader& reader) override;
    void accept(ClientConfigurationDispatcher& dispatcher) override { dispatcher.dispatch(*this); }
};

/// The launcher's part of a configuration without tunnel; has no key of its own yet.
struct NoTunnelLauncherConf : IConf {
    void keywrite(IKeyReader& /*reader*/) override {}
};

/// "plugindllnotunnel": opens one published resource without a tunnel.
class NoTunnelClientPluginDllConfiguration final : public TypedConfiguration {
public:
    String orgname;
    Dlls pluginDlls;
    String service;  ///< the resource's name
    String clientid;
    int safetype = 0;  ///< the resource's type, the plug-in's own number
    NoTunnelLauncherConf launcher;

    void keywrite(IKeyReader& reader) override;
    void accept(ClientConfigurationDispatcher& dispatcher) override { dispatcher.dispatch(*this); }
};

/// "hostchecker": rules to check on this machine.
class ClientHostcheckerDllConfiguration final : public TypedConfiguration {
public:
    Dlls hostcheckerDlls;
    String hostcheckingrequest;
    String responseurl;  ///< absolute, or a path on the gateway
    String hostname;
    String language;
    unsigned hostcheckingtimer = 0;  ///< seconds between two checks; 0 stands for one second

    void keywrite(IKeyReader& reader) override;
    void accept(ClientConfigurationDispatcher& dispatcher) override { dispatcher.dispatch(*this); }
};

/// What the gateway wants of this session: a type and the typed configuration behind it.
class ClientConfiguration final : public gc::ObjectDelete {
public:
    ClientConfiguration(String type, gc::Pointer<TypedConfiguration> configuration);
    [[nodiscard]] const char* getClassName() const override { return "ClientConfiguration"; }

    /// Reads the object under "result". An unknown "type" is logged and raises EClientConfiguration.
    static gc::Pointer<ClientConfiguration> load(IKeyReader& result);

    [[nodiscard]] const String& type() const noexcept { return m_type; }
    void accept(ClientConfigurationDispatcher& dispatcher) const { m_configuration->accept(dispatcher); }

private:
    const String m_type;
    const gc::Pointer<TypedConfiguration> m_configuration;
};

}  // namespace tessel
