#include "apps/nebrixclient/clientlocalconfiguration.h"

#include <algorithm>
#include <set>

#include "apps/nebrixclient/sites.h"
#include "libs/base/confhelper.h"
#include "libs/base/datetime.h"
#include "libs/base/file.h"
#include "libs/base/log.h"
#include "libs/openssl/fingerprint.h"
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

/// As the file has it: "2026-11-21T10:00:00Z" (RFC 3339).
constexpr const char* kTimeFormat = "%Y-%m-%dT%H:%M:%SZ";

std::time_t timeOf(const String& text) {
    std::tm parts{};
    const String terminated = text;
    const char* const end = ::strptime(terminated.str(), kTimeFormat, &parts);
    return end != nullptr && *end == '\0' ? ::timegm(&parts) : -1;
}

bool contains(const List<String>& domains, const String& server) {
    return std::find(domains.begin(), domains.end(), server) != domains.end();
}

/// Never raises for what the file says: a key that was lost on the way would leave its server unchecked.
TrustedKey readKey(IKeyReader& reader) {
    TrustedKey key;
    String digest;
    String since;
    ConfReadHelper::readKey(reader, "server", key.server, false);
    ConfReadHelper::readKey(reader, "sha256", digest, false);
    ConfReadHelper::readKey(reader, "since", since, false);
    key.digest = tls::fingerprintBytes(digest).toHex();
    key.since = timeOf(since);
    if (key.digest.empty()) {
        log(LogCategory::Error, "ClientLocalConfiguration", "readFromFile",
            String("The trusted key of \"" + key.server + "\" cannot be read: no key of that server is accepted"));
    }
    return key;
}

/// Those of the domains, the first one of each.
List<TrustedKey> readKeys(IKeyReader& reader, const List<String>& domains) {
    List<TrustedKey> keys;
    if (!reader.exists("trustedkeys")) {
        return keys;
    }
    std::set<String> without(domains.begin(), domains.end());
    IKeyReader& list = reader["trustedkeys"];
    while (list.exists("key")) {
        TrustedKey key = readKey(list["key"]);
        if (without.erase(key.server) == 1) {
            keys.push_back(std::move(key));
        }
    }
    return keys;
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
    List<String> domains;
    if (ConfReadHelper::readList(reader, "sslcertignoredomains", "domains", domains, false)) {
        // Together: a domain without its key is not checked at all.
        m_trustedKeys = readKeys(reader, domains);
        m_sslCertIgnoreDomains = std::move(domains);
    }
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
    if (m_trustedKeys.empty()) {
        return;
    }
    IKeyWriter& keys = writer["trustedkeys"];
    for (const TrustedKey& trusted : m_trustedKeys) {
        IKeyWriter& key = keys["key"];
        key["server"].write(trusted.server);
        key["sha256"].write(trusted.digest);
        key["since"].write(trusted.since < 0 ? String() : DateTime(trusted.since).toUtcString(kTimeFormat));
    }
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
    std::erase_if(m_trustedKeys, [&](const TrustedKey& key) { return !contains(domains, key.server); });
}

ServerExceptions ClientLocalConfiguration::getServerExceptions() const {
    Lock lock(m_mutex);
    return {m_sslCertIgnoreDomains, m_trustedKeys};
}

void ClientLocalConfiguration::trust(const String& server, const String& keyDigest, std::time_t now) {
    Lock lock(m_mutex);
    std::erase_if(m_trustedKeys, [&](const TrustedKey& key) { return key.server == server; });
    m_trustedKeys.push_back({server, keyDigest, now});
    if (!contains(m_sslCertIgnoreDomains, server)) {
        m_sslCertIgnoreDomains.push_back(server);
    }
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
