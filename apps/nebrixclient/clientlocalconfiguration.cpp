// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/clientlocalconfiguration.h"

#include <algorithm>
#include <chrono>
#include <set>
#include <string_view>

#include "apps/nebrixclient/sites.h"
#include "libs/base/confhelper.h"
#include "libs/base/datetime.h"
#include "libs/base/file.h"
#include "libs/base/filelock.h"
#include "libs/base/log.h"
#include "libs/base/numbers.h"
#include "libs/openssl/fingerprint.h"
#include "libs/xml/parser.h"
#include "libs/xml/parserreader.h"
#include "libs/xml/xmlerrors.h"

namespace tessel {

namespace {

constexpr const char* kRoot = "nebrixclient";
/// For another process that is saving.
constexpr std::chrono::seconds kPatience{5};

/// A download switch is off only for the word "false".
bool readSwitch(IKeyReader& reader, const char* key) {
    if (!reader.exists(key)) {
        return true;
    }
    String text;
    return !ConfReadHelper::readKey(reader[key], "download", text, false) || !text.equalsNoCase2("false", 5);
}

constexpr const char* kRefuse = "refuse";

bool readRefusal(IKeyReader& components) {
    String older;
    return ConfReadHelper::readKey(components, "older", older, false) && older == kRefuse;
}

/// 0, or what a host without any component needs and up; `present` for what is no number.
unsigned readMemory(IKeyReader& reader, unsigned present) {
    constexpr unsigned kLeast = 64;
    constexpr unsigned kMost = 1024 * 1024;
    constexpr unsigned kLongest = 9;  // digits, which cannot overflow
    String text;
    ConfReadHelper::readKey(reader, "memory", text, false);
    const std::string_view digits = text.view();
    if (digits.empty() || digits.size() > kLongest ||
        digits.find_first_not_of("0123456789") != std::string_view::npos) {
        return present;
    }
    const unsigned mebibytes = toUint32(text);
    return mebibytes == 0 ? 0 : std::clamp(mebibytes, kLeast, kMost);
}

/// As the file has it: "2026-11-21T10:00:00Z" (RFC 3339).
constexpr const char* kTimeFormat = "%Y-%m-%dT%H:%M:%SZ";

std::time_t timeOf(const String& text) {
    std::tm parts{};
    const String terminated = text;
    const char* const end = ::strptime(terminated.str(), kTimeFormat, &parts);
    return end != nullptr && *end == '\0' ? ::timegm(&parts) : -1;
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

TlsFiles readTlsFiles(IKeyReader& certificates) {
    TlsFiles files;
    ConfReadHelper::readKey(certificates, "cafile", files.authorities, false);
    ConfReadHelper::readKey(certificates, "clientcertificate", files.certificate, false);
    ConfReadHelper::readKey(certificates, "clientkey", files.key, false);
    ConfReadHelper::readKey(certificates, "clientkeypassword", files.passwordFile, false);
    return files;
}

void writeTlsFiles(const TlsFiles& files, IKeyWriter& writer) {
    const std::pair<const char*, const String&> paths[] = {{"cafile", files.authorities},
                                                           {"clientcertificate", files.certificate},
                                                           {"clientkey", files.key},
                                                           {"clientkeypassword", files.passwordFile}};
    if (files == TlsFiles()) {
        return;
    }
    IKeyWriter& certificates = writer["certificates"];
    for (const auto& [key, path] : paths) {
        if (!path.empty()) {
            certificates[key].write(path);
        }
    }
}

/// The first ones go before the second ones.
TlsFiles over(const TlsFiles& first, const TlsFiles& second) {
    TlsFiles files = first.certificate.empty() ? second : first;
    files.authorities = first.authorities.empty() ? second.authorities : first.authorities;
    return files;
}

/// What it raises for the credentials leaves those before them read.
void readSettings(IKeyReader& reader, LocalSettings& to) {
    List<String> domains;
    if (ConfReadHelper::readList(reader, "sslcertignoredomains", "domains", domains, false)) {
        // Together: a domain without its key is not checked at all.
        to.servers.keys = readKeys(reader, domains);
        to.servers.domains = std::move(domains);
    }
    to.tls = reader.exists("certificates") ? readTlsFiles(reader["certificates"]) : TlsFiles();
    if (reader.exists("proxy")) {
        ProtectedCredentials credentials(to.credentials);
        ConfReadHelper::readKey(reader["proxy"], "credentials", credentials, false);
        to.credentials = credentials;
    }
    to.hostcheckerDownload = readSwitch(reader, "hostcheckerdll");
    to.pluginDownload = readSwitch(reader, "plugindll");
    to.refuseOlder = false;
    if (reader.exists("components")) {
        IKeyReader& components = reader["components"];
        to.refuseOlder = readRefusal(components);
        to.componentMemory = readMemory(components, to.componentMemory);
    }
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

void ClientLocalConfiguration::saveChanges(const String& path) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point patient = Clock::now() + kPatience;
    const FileLock turn(path + ".lock", [patient] { return Clock::now() < patient; });
    LocalSettings known;
    {
        Lock lock(m_mutex);
        known = m_saved;
    }
    ClientLocalConfiguration file(known);
    try {
        if (File::exists(path)) {
            file.readFromFile(path);
        }
    } catch (const Exception& caught) {
        logCaught(caught, sites::kLocalConfigurationCatch);  // what could be read of it counts
    }
    LocalSettings wanted;
    {
        Lock lock(m_mutex);
        m_now = merged(m_saved, m_now, file.settings());
        wanted = m_now;
    }
    ClientLocalConfiguration(wanted).save(path);
    Lock lock(m_mutex);
    m_saved = wanted;
}

LocalSettings ClientLocalConfiguration::settings() const {
    Lock lock(m_mutex);
    return m_now;
}

void ClientLocalConfiguration::change(const LocalSettings& shown, const LocalSettings& edited) {
    Lock lock(m_mutex);
    m_now = merged(shown, edited, m_now);
}

void ClientLocalConfiguration::write(IKeyReader& reader) {
    Lock lock(m_mutex);
    readSettings(reader, m_now);
    m_saved = m_now;
}

void ClientLocalConfiguration::read(IKeyWriter& writer) const {
    const LocalSettings now = settings();
    IKeyWriter& domains = writer["sslcertignoredomains"];
    for (const String& domain : now.servers.domains) {
        domains["domains"].write(domain);
    }
    const ProtectedCredentials credentials(now.credentials);
    writer["proxy"]["credentials"].write(static_cast<const ISerialize&>(credentials));
    writer["hostcheckerdll"]["download"].write(now.hostcheckerDownload);
    writer["plugindll"]["download"].write(now.pluginDownload);
    IKeyWriter& components = writer["components"];
    components["memory"].write(now.componentMemory);
    if (now.refuseOlder) {
        components["older"].write(String(kRefuse));
    }
    writeTlsFiles(now.tls, writer);
    if (now.servers.keys.empty()) {
        return;
    }
    IKeyWriter& keys = writer["trustedkeys"];
    for (const TrustedKey& trusted : now.servers.keys) {
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
    return m_managed.refuseExceptions ? List<String>() : m_now.servers.domains;
}

void ClientLocalConfiguration::setSslCertIgnoreDomains(const List<String>& domains) {
    Lock lock(m_mutex);
    m_now.servers.domains = domains;
    std::erase_if(m_now.servers.keys, [&](const TrustedKey& key) { return !contains(domains, key.server); });
}

ServerExceptions ClientLocalConfiguration::getServerExceptions() const {
    Lock lock(m_mutex);
    return m_managed.refuseExceptions ? ServerExceptions() : m_now.servers;
}

void ClientLocalConfiguration::trust(const String& server, const String& keyDigest, std::time_t now) {
    if (m_managed.refuseExceptions) {
        log(LogCategory::Error, "ClientLocalConfiguration", "trust",
            String("Certificate exceptions are forbidden by " + m_managed.path));
        return;
    }
    Lock lock(m_mutex);
    std::erase_if(m_now.servers.keys, [&](const TrustedKey& key) { return key.server == server; });
    m_now.servers.keys.push_back({server, keyDigest, now});
    if (!contains(m_now.servers.domains, server)) {
        m_now.servers.domains.push_back(server);
    }
}

Credentials ClientLocalConfiguration::getCredentials() const {
    Lock lock(m_mutex);
    return m_now.credentials;
}

void ClientLocalConfiguration::setCredentials(const Credentials& credentials) {
    Lock lock(m_mutex);
    m_now.credentials = credentials;
}

bool ClientLocalConfiguration::getPluginDownload() const {
    Lock lock(m_mutex);
    return m_now.pluginDownload;
}

bool ClientLocalConfiguration::getRefuseOlder() const {
    Lock lock(m_mutex);
    return m_managed.refuseOlder || m_now.refuseOlder;
}

TlsFiles ClientLocalConfiguration::getTlsFiles() const {
    Lock lock(m_mutex);
    return over(m_managed.tls, over(m_given, m_now.tls));
}

bool ClientLocalConfiguration::getHostcheckerDownload() const {
    Lock lock(m_mutex);
    return m_now.hostcheckerDownload;
}

unsigned ClientLocalConfiguration::getComponentMemory() const {
    Lock lock(m_mutex);
    return m_now.componentMemory;
}

}  // namespace tessel
