#pragma once

#include "libs/base/mutex.h"
#include "libs/base/serialize.h"
#include "libs/http/credentials.h"

namespace tessel {

/// What the user settles on this machine, kept in nebrixclient.xml: servers whose certificate is not checked, the
/// proxy's credentials, and whether components are downloaded.
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
    void setSslCertIgnoreDomains(const List<String>& domains);
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
    ProtectedCredentials m_credentials;
    bool m_pluginDownload = true;
    bool m_hostcheckerDownload = true;
};

}  // namespace tessel
