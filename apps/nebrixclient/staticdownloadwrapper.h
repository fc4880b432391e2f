// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <shared_mutex>

namespace tessel {

class DownloadManager;

/// Fetches what plug-ins ask for, over the process-wide download manager, in the form of their download callback.
///
/// Any thread, at any moment, also when the session is over: unset() waits for calls that are on their way, and later
/// calls are refused.
class StaticDownloadWrapper {
public:
    /// Both texts belong to the caller. Never lets an exception out; false for everything but a complete download.
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
