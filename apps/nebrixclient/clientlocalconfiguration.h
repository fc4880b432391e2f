#pragma once

#include <ctime>

#include "libs/base/mutex.h"
#include "libs/base/serialize.h"
#include "libs/http/credentials.h"

namespace tessel {

/// The public key that the user has accepted for one of the servers whose certificate is not checked: whoever shows
/// another one is not that server.
struct TrustedKey {
    String server;  ///< as the list of domains has it
    /// SHA-256 of the SubjectPublicKeyInfo (RFC 7469, 2.4) in lower-case hexadecimal. Empty when the file's cannot be
    /// read: then no key fits.
    String digest;
    std::time_t since = -1;  ///< when it was accepted, in seconds since 1970; -1 when the file does not say
};

/// The servers that are not checked as others are, at one moment.
struct ServerExceptions {
    List<String> domains;
    List<TrustedKey> keys;  ///< at most one for each domain, of any number of them
};

/// What the user settles on this machine, kept in nebrixclient.xml: servers whose certificate is not checked, the keys
/// that were accepted for some of them, the proxy's credentials, and whether components are downloaded.
///
/// Synchronises itself: the settings dialog changes it while requests on other threads read it. Getters give copies.
class ClientLocalConfiguration final : public ISerialize {
public:
    ClientLocalConfiguration() = default;

    /// Takes the file's values over. A file that cannot be read or parsed is logged, and the values stay as they
    /// are; credentials without login or password raise EConfMissingKey.
    void readFromFile(const String& path);
    /// Replaces the file in one step: a kill at any moment leaves the old one or the new one, whole.
    /// The password stands in it as plain text. Raises xml::EParser.
    void save(const String& path) const;

    [[nodiscard]] List<String> getSslCertIgnoreDomains() const;
    /// A server that is not among them any more loses its key.
    void setSslCertIgnoreDomains(const List<String>& domains);
    [[nodiscard]] ServerExceptions getServerExceptions() const;
    /// Adds the server, host and port as the link writes them, to the domains unless it is there, and accepts this key
    /// of it and no other from now on.
    void trust(const String& server, const String& keyDigest, std::time_t now);
    [[nodiscard]] Credentials getCredentials() const;
    void setCredentials(const Credentials& credentials);
    [[nodiscard]] bool getPluginDownload() const;
    [[nodiscard]] bool getHostcheckerDownload() const;

    void read(IKeyWriter& writer) const override;
    void write(IKeyReader& reader) override;
    /// Without keys it can be neither saved nor loaded: both raise ENotImplemented.
    void read(IWriter& writer) const override;
    void write(IReader& reader) override;

private:
    mutable Mutex m_mutex;  // guards all below
    List<String> m_sslCertIgnoreDomains;
    List<TrustedKey> m_trustedKeys;  // each of a server among the domains, one for each
    ProtectedCredentials m_credentials;
    bool m_pluginDownload = true;
    bool m_hostcheckerDownload = true;
};

}  // namespace tessel
