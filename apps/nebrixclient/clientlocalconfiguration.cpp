#include "apps/nebrixclient/clientlocalconfiguration.h"

#include "apps/nebrixclient/sites.h"
#include "libs/base/confhelper.h"
#include "libs/base/file.h"
#include "libs/base/log.h"
#include "libs/xml/parser.h"
#include "libs/xml/parserreader.h"
#include "libs/xml/xmlerrors.h"

namespace tessel {

namespace {

constexpr const char* kRoot = "nebrixclient";

/// A download switch is off only for the word "false".
bool readSwitch(IKeyReader& reader, const char* key) {
    if (!reader.exists(key)) {
        return true;
    }
    String text;
    return !ConfReadHelper::readKey(reader[key], "download", text, false) || !text.equalsNoCase2("false", 5);
}

void logUnreadable(const String& path, const Exception& caught) {
    logCaught(caught, sites::kLocalConfigurationCatch);
    log(LogCategory::Error, "ClientLocalConfiguration", "readFromFile",
        String("Can not read local configuration from " + path));
}

}  // namespace

void ClientLocalConfiguration::readFromFile(const String& path) {
    try {
        // The file holds a password: nothing of its text may reach the log.
        xml::ParserReader reader(path, xml::Excerpts::Withheld);
        write(reader[kRoot]);
    } catch (const xml::EParserReader& caught) {
        logUnreadable(path, caught);
    } catch (const EFile& caught) {
        logUnreadable(path, caught);
    } catch (const EKeyReader& caught) {
        logUnreadable(path, caught);  // another document
    }
}

void ClientLocalConfiguration::save(const String& path) const { xml::Parser::write(path, kRoot, *this); }

void ClientLocalConfiguration::write(IKeyReader& reader) {
    Lock lock(m_mutex);
    ConfReadHelper::readList(reader, "sslcertignoredomains", "domains", m_sslCertIgnoreDomains, false);
    if (reader.exists("proxy")) {
        ConfReadHelper::readKey(reader["proxy"], "credentials", m_credentials, false);
    }
    m_hostcheckerDownload = readSwitch(reader, "hostcheckerdll");
    m_pluginDownload = readSwitch(reader, "plugindll");
}

void ClientLocalConfiguration::read(IKeyWriter& writer) const {
    Lock lock(m_mutex);
    IKeyWriter& domains = writer["sslcertignoredomains"];
    for (const String& domain : m_sslCertIgnoreDomains) {
        domains["domains"].write(domain);
    }
    writer["proxy"]["credentials"].write(static_cast<const ISerialize&>(m_credentials));
    writer["hostcheckerdll"]["download"].write(m_hostcheckerDownload);
    writer["plugindll"]["download"].write(m_pluginDownload);
}

void ClientLocalConfiguration::read(IWriter& /*writer*/) const {
    raise<ENotImplemented>("ENotImplemented", sites::kLocalConfigurationCatch);
}

void ClientLocalConfiguration::write(IReader& /*reader*/) {
    raise<ENotImplemented>("ENotImplemented", sites::kLocalConfigurationCatch);
}

List<String> ClientLocalConfiguration::getSslCertIgnoreDomains() const {
    Lock lock(m_mutex);
    return m_sslCertIgnoreDomains;
}

void ClientLocalConfiguration::setSslCertIgnoreDomains(const List<String>& domains) {
    Lock lock(m_mutex);
    m_sslCertIgnoreDomains = domains;
}

Credentials ClientLocalConfiguration::getCredentials() const {
    Lock lock(m_mutex);
    return m_credentials;
}

void ClientLocalConfiguration::setCredentials(const Credentials& credentials) {
    Lock lock(m_mutex);
    m_credentials = ProtectedCredentials(credentials);
}

bool ClientLocalConfiguration::getPluginDownload() const {
    Lock lock(m_mutex);
    return m_pluginDownload;
}

bool ClientLocalConfiguration::getHostcheckerDownload() const {
    Lock lock(m_mutex);
    return m_hostcheckerDownload;
}

}  // namespace tessel
