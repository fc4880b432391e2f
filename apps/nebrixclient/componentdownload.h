#pragma once

#include "apps/nebrixclient/downloadmanager.h"
#include "libs/base/log.h"

namespace tessel {

class NebrixClient;

/// Where one kind of component lies on disk, and how it gets there.
///
/// The archive lands in the base directory, its members in a directory of its own below it, named from a prefix and
/// the archive's digest. With downloading switched off the library is expected directly in the base directory.
/// Used on the driver's thread.
class ComponentDownload {
public:
    /// `className` is what log lines show; both texts must be literals.
    ComponentDownload(DownloadManager& manager, const char* className, const char* prefix, String baseDir,
                      bool download);

    /// Raises EClientConfiguration unless all that becomes part of a path is a plain name.
    static void checkNames(const Dll& dll);

    [[nodiscard]] String libraryPath(const Dll& dll) const;
    [[nodiscard]] String signaturePath(const Dll& dll) const { return libraryPath(dll) + ".sig"; }

    /// Whether the user no longer wants what was being fetched: nothing is to be loaded then.
    [[nodiscard]] bool cancelled() const noexcept { return m_manager.cancelled(); }

    /// Makes sure, as far as it can, that library and signature are there: what is missing afterwards fails at the
    /// signature check. True when an archive was fetched and unpacked now.
    bool fetch(const Dll& dll);
    /// What kept the last fetch() from having them; of kind None when nothing did.
    [[nodiscard]] const SessionEnd& trouble() const noexcept { return m_trouble; }

    /// The signature check. Where it fails after a fetch() that had trouble, the account hears of that first, since it
    /// is what the missing file comes from. Raises EBadSignature.
    void verify(const Dll& dll, NebrixClient& client) const;

    // The file helpers differ, deliberately, in what they do after logging an EFile.
    /// Logs and raises it again.
    void removeIfPresent(const String& path) const;
    /// Logs "missing ... in archive" and raises it again.
    void move(const String& source, const String& target);
    /// Logs and goes on.
    void copy(const String& source, const String& target) const;

    /// Puts copies of library and signature into the base directory under the names that older installations on
    /// Windows look for; what fails is logged.
    void copyDllForCompat(const Dll& dll) const;

private:
    void logLine(LogCategory category, const String& text) const;

    DownloadManager& m_manager;
    const char* const m_className;
    const char* const m_prefix;
    const String m_baseDir;
    const bool m_download;
    SessionEnd m_trouble;
};

/// The directories below the user's application-data directory that components live in.
String pluginDirectory();
String hostcheckerDirectory();

}  // namespace tessel
