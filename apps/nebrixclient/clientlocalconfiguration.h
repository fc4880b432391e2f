// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "apps/nebrixclient/managedsettings.h"
#include "libs/base/mutex.h"
#include "libs/base/serialize.h"

namespace tessel {

/// What the user settles on this machine, kept in nebrixclient.xml: servers whose certificate is not checked, the keys
/// that were accepted for some of them, the proxy's credentials, whether components are downloaded, and whether older
/// ones run.
///
/// What an administrator has settled for the machine goes before it, in each getter but settings(), and is never
/// written to the user's file.
///
/// Synchronises itself: the settings dialog changes it while requests on other threads read it. Getters give copies.
class ClientLocalConfiguration final : public ISerialize {
public:
    ClientLocalConfiguration() = default;
    explicit ClientLocalConfiguration(const LocalSettings& settings) : m_now(settings), m_saved(settings) {}

    /// Takes the file's values over. A file that cannot be read or parsed is logged, and the values stay as they
    /// are; credentials without login or password raise EConfMissingKey.
    void readFromFile(const String& path);
    /// Replaces the file in one step: a kill at any moment leaves the old one or the new one, whole.
    /// The password stands in it as plain text. Raises xml::EParser.
    void save(const String& path) const;
    /// Writes what was changed here since the file was last read or written, over what it holds by now, and takes over
    /// what others have changed in it meanwhile. Those who do so at the same time, in other processes too, take turns.
    /// What could not be written goes with the next call. Waits for the disk; raises xml::EParser.
    void saveChanges(const String& path);

    /// What an administrator has settled. To be set before anybody else sees the object.
    void setManaged(const ManagedSettings& managed) { m_managed = managed; }
    [[nodiscard]] const ManagedSettings& managed() const noexcept { return m_managed; }
    /// Files for this process alone: each one that is named goes before the user's own, never before a managed one. The
    /// client's certificate, key and password go together. To be set like setManaged().
    void setTlsFiles(const TlsFiles& files) { m_given = files; }

    /// The user's own, as the file has them.
    [[nodiscard]] LocalSettings settings() const;
    /// Takes over what differs between the two, as merged() does: `shown` are settings as somebody was shown them,
    /// `edited` what that person made of them.
    void change(const LocalSettings& shown, const LocalSettings& edited);
    [[nodiscard]] List<String> getSslCertIgnoreDomains() const;
    /// A server that is not among them any more loses its key.
    void setSslCertIgnoreDomains(const List<String>& domains);
    [[nodiscard]] ServerExceptions getServerExceptions() const;
    /// Adds the server, host and port as the link writes them, to the domains unless it is there, and accepts this key
    /// of it and no other from now on. Does nothing but log where exceptions are refused.
    void trust(const String& server, const String& keyDigest, std::time_t now);
    [[nodiscard]] Credentials getCredentials() const;
    void setCredentials(const Credentials& credentials);
    [[nodiscard]] TlsFiles getTlsFiles() const;
    [[nodiscard]] bool getPluginDownload() const;
    [[nodiscard]] bool getHostcheckerDownload() const;
    /// Whether a component that is older than the last one is refused.
    [[nodiscard]] bool getRefuseOlder() const;
    /// MiB of memory that a component may have for itself; 0 for any amount.
    [[nodiscard]] unsigned getComponentMemory() const;

    void read(IKeyWriter& writer) const override;
    void write(IKeyReader& reader) override;
    /// Without keys it can be neither saved nor loaded: both raise ENotImplemented.
    void read(IWriter& writer) const override;
    void write(IReader& reader) override;

private:
    // Constant once it is shared.
    ManagedSettings m_managed;
    TlsFiles m_given;

    mutable Mutex m_mutex;  // guards all below
    LocalSettings m_now;    // each key of a server among the domains, one for each
    LocalSettings m_saved;  // what the file held when it was last read whole, or written
};

}  // namespace tessel
