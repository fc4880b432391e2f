#pragma once

#include <atomic>
#include <shared_mutex>

namespace tessel {

class DownloadManager;

/// The C function that plug-ins fetch further files with, over the process-wide download manager.
///
/// Plug-ins are never unloaded and may call from any of their threads at any moment, also when the session is over:
/// unset() waits for calls that are on their way, and later calls are refused.
class StaticDownloadWrapper {
public:
    /// The callback handed to plug-ins. Both texts belong to the caller. Never lets an exception out; false for
    /// everything but a complete download.
    static bool downloadFileTo(const char* url, const char* localPath) noexcept;

    /// Makes the manager the process-wide one; it must be unset before it ends.
    static void set(DownloadManager& manager);
    /// Forgets the manager if it is the process-wide one.
    static void unset(const DownloadManager& manager);

private:
    static std::shared_mutex m_mutex;  // guards m_downloadManager; held shared during a download
    static DownloadManager* m_downloadManager;
};

}  // namespace tessel
