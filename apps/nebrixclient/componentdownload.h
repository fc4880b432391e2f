// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>

#include "apps/nebrixclient/componentversions.h"
#include "apps/nebrixclient/downloadmanager.h"
#include "libs/base/filelock.h"
#include "libs/base/log.h"

namespace tessel {

class NebrixClient;

/// Where one kind of component lies on disk, how it gets there, and that it is genuine.
///
/// The archive lands in the base directory, its members in a directory of its own below it, named from a prefix and
/// the archive's digest. With downloading switched off the library is expected directly in the base directory.
///
/// Used on the driver's thread, for one session. Sessions that want one archive at once, also those of other
/// processes, take turns by a lock on "FILENAME.lock" beside it. What is unpacked takes its place as a whole directory,
/// so that reading it needs no lock, and nobody waits for a component that is there.
class ComponentDownload {
public:
    /// What becomes of library and signature once they are unpacked: they stay as they are, or are moved to their
    /// place, where a missing one raises EFile.
    enum class Members { Stay, Moved };
    /// How long a session waits for one that has the lock and whose archive does not grow.
    static constexpr std::chrono::milliseconds kPatience = std::chrono::seconds(30);

    /// `className` is what log lines show; both texts must be literals. The prefix is the type's name, in whatever
    /// case, and "_". The client must outlive this object.
    ComponentDownload(NebrixClient& client, const char* className, const char* prefix, String baseDir, bool download,
                      Members members = Members::Stay, std::chrono::milliseconds patience = kPatience);

    /// Raises EClientConfiguration unless all that becomes part of a path is a plain name.
    static void checkNames(const Dll& dll);

    [[nodiscard]] String libraryPath(const Dll& dll) const;
    [[nodiscard]] String signaturePath(const Dll& dll) const { return libraryPath(dll) + ".sig"; }

    /// Whether the user no longer wants what was being fetched: nothing is to be loaded then.
    [[nodiscard]] bool cancelled() const noexcept { return m_manager.cancelled(); }

    /// Makes sure, as far as it can, that library and signature are there: what is missing afterwards fails at the
    /// signature check.
    void fetch(const Dll& dll);
    /// Returns only when the library is genuine, with the bytes that were found so; else raises EBadSignature. One that
    /// was there already and is not genuine is fetched once more, from the archive on disk if that has the announced
    /// MD5, and checked again. Where the check fails after a fetch() that had trouble, the account hears of that first,
    /// since it is what the missing file comes from.
    /// What then is to be told of versions, ComponentVersions::judge() tells; it may raise EOlderComponent.
    VerifiedComponent verify(const Dll& dll);
    /// Once the component is loaded.
    void remember(const VerifiedComponent& component) const { m_versions.remember(component.infos); }

    // The file helpers differ, deliberately, in what they do after logging an EFile.
    /// Logs and raises it again.
    void removeIfPresent(const String& path) const;
    /// Logs "missing ... in archive", lets the account know, and raises it again.
    void move(const String& source, const String& target) const;
    /// Logs and goes on.
    void copy(const String& source, const String& target) const;

    /// Puts copies of library and signature into the base directory under the names that older installations on
    /// Windows look for; what fails is logged.
    void copyDllForCompat(const Dll& dll) const;

private:
    void logLine(LogCategory category, const String& text) const;
    [[nodiscard]] bool present(const Dll& dll) const;
    bool obtain(const Dll& dll, bool anew);
    bool unpack(const String& archive, const Dll& dll);
    VerifiedComponent verifyAnew(const Dll& dll);
    [[nodiscard]] FileLock lock(const String& archive) const;

    NebrixClient& m_client;
    DownloadManager& m_manager;
    const char* const m_className;
    const char* const m_prefix;
    const String m_baseDir;
    const bool m_download;
    const Members m_members;
    const std::chrono::milliseconds m_patience;
    const ComponentVersions m_versions;
    bool m_obtained = false;  // whether the archive was asked for, with whatever result
    SessionEnd m_trouble;     // what kept obtain() from having the component
};

/// The directories below the user's application-data directory that components live in.
String pluginDirectory();
String hostcheckerDirectory();

}  // namespace tessel
