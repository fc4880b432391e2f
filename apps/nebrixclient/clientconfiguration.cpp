// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/clientconfiguration.h"

#include "apps/nebrixclient/sites.h"
#include "libs/base/log.h"

namespace tessel {

namespace {

gc::Pointer<TypedConfiguration> create(const String& type) {
    if (type == "plugindll") {
        return new ClientPluginDllConfiguration;
    }
    if (type == "plugindllnotunnel") {
        return new NoTunnelClientPluginDllConfiguration;
    }
    if (type == "hostchecker") {
        return new ClientHostcheckerDllConfiguration;
    }
    log(LogCategory::Error, "ClientConfiguration", "load", String("Unknown configuration type: " + type));
    raise<EClientConfiguration>("EClientConfiguration", sites::kUnknownConfigurationType,
                                {.subject = "type", .words = "a type that this client knows"});
}

template <class T>
void required(IKeyReader& reader, const char* key, T& out) {
    ConfReadHelper::readKey(reader, key, out, true);
}

}  // namespace

void DownloadConfig::keywrite(IKeyReader& reader) {
    required(reader, "filename", filename);
    ConfReadHelper::readKey(reader, "md5", md5, false);
    required(reader, "urlpath", urlpath);
}

void Dll::keywrite(IKeyReader& reader) {
    DownloadConfig::keywrite(reader);
    required(reader, "pattern", pattern);
    required(reader, "version", version);
}

void Dlls::keywrite(IKeyReader& reader) {
    win32.read(reader, "win32");
    win64.read(reader, "win64");
    mac.read(reader, "mac");
    macOpenssl3.read(reader, "mac_openssl3");
    linux64.read(reader, "linux64");
    linux64Openssl3.read(reader, "linux64_openssl3");
}

Dll Dlls::current() const {
#ifdef __APPLE__
    return macOpenssl3;
#else
    return linux64Openssl3;
#endif
}

void Certificates::keywrite(IKeyReader& reader) {
    required(reader, "cert", cert);
    required(reader, "ca", ca);
}

void ClientPluginDllConfiguration::keywrite(IKeyReader& reader) {
    required(reader, "orgname", orgname);
    required(reader, "server", server);
    required(reader, "certPassword", certPassword);
    required(reader, "login", login);
    required(reader, "ticket", ticket);
    required(reader, "sessionid", sessionid);
    required(reader, "pluginDlls", pluginDlls);
    required(reader, "certificates", certificates);
    required(reader, "clientid", clientid);
    ConfReadHelper::readList(reader, "sslservercertname", "", sslservercertname, false);
}

void NoTunnelClientPluginDllConfiguration::keywrite(IKeyReader& reader) {
    required(reader, "orgname", orgname);
    required(reader, "pluginDlls", pluginDlls);
    required(reader, "service", service);
    required(reader, "clientid", clientid);
    required(reader, "safetype", safetype);
    launcher.keywrite(reader);
}

void ClientHostcheckerDllConfiguration::keywrite(IKeyReader& reader) {
    required(reader, "hostcheckerDlls", hostcheckerDlls);
    required(reader, "hostcheckingrequest", hostcheckingrequest);
    required(reader, "responseurl", responseurl);
    required(reader, "hostname", hostname);
    required(reader, "language", language);
    required(reader, "hostcheckingtimer", hostcheckingtimer);
}

ClientConfiguration::ClientConfiguration(String type, gc::Pointer<TypedConfiguration> configuration)
    : m_type(std::move(type)), m_configuration(std::move(configuration)) {}

gc::Pointer<ClientConfiguration> ClientConfiguration::load(IKeyReader& result) {
    String type;
    required(result, "type", type);
    gc::Pointer<TypedConfiguration> configuration = create(type);
    configuration->keywrite(result);
    return new ClientConfiguration(type, configuration);
}

}  // namespace tessel
