// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>

#include "apps/nebrixclient/account.h"
#include "apps/nebrixclient/clientconfiguration.h"
#include "apps/nebrixclient/nebrixclientcurlsession.h"
#include "apps/nebrixclient/notify.h"
#include "libs/base/mutex.h"

namespace tessel {

/// Fetches component files from the gateway through the client's one HTTP session, and keeps what is already there
/// and has the announced digest.
///
/// Any thread may call: transfers are taken one after the other by the session.
class DownloadManager {
public:
    /// Bytes that one file may have at most, unless set otherwise: 1 GiB.
    static constexpr std::uint64_t kLargestFile = std::uint64_t{1} << 30U;

    explicit DownloadManager(const ClientLocalConfiguration& configuration);

    NebrixClientCurlSession& session() noexcept { return m_session; }
    [[nodiscard]] const NebrixClientCurlSession& session() const noexcept { return m_session; }
    /// Told how far downloads are; null for nobody. Set before the first download.
    void setProgress(IProgressNotify* progress) noexcept { m_progress = progress; }
    [[nodiscard]] IProgressNotify* progress() const noexcept { return m_progress; }

    /// Ends what runs, transfers within about a second and unpacking at once, and fails what comes, until resume().
    void cancel() noexcept;
    void resume() noexcept;
    [[nodiscard]] const std::atomic<bool>& cancelled() const noexcept { return m_cancelled; }

    /// The authority that paths without a host are fetched from.
    void setGateway(const String& authority);
    [[nodiscard]] String gateway() const;
    void setLargestFile(std::uint64_t bytes) noexcept { m_session.setWriterLimit(bytes); }

    /// A URL or a path on the gateway, as a URI with scheme and host.
    [[nodiscard]] String resolve(const String& url) const;

    /// Fetches into the file, whose directory is made. True only when the whole body came with status 200; after
    /// false a part of it may lie there, and `why` (null: nobody asks) has an ArchiveMissing or NotWritable. Failures
    /// are logged; raises only what the session raises.
    bool downloadFileTo(const String& url, const String& localPath, SessionEnd* why = nullptr);

    /// The path of the file in targetDir, fetched unless it is there with the announced MD5; String::null when it
    /// could not be had. A file name that is no plain name raises EClientConfiguration before anything is fetched.
    String downloadFromConfig(const DownloadConfig& config, const String& targetDir, SessionEnd* why = nullptr);

    /// The file's MD5 digest in lower-case hexadecimal. Raises EFile.
    static String computeFileMd5(const String& path);

private:
    bool transfer(const String& uri, const String& localPath, SessionEnd& why);

    NebrixClientCurlSession m_session;  // synchronises itself
    IProgressNotify* m_progress = nullptr;
    std::atomic<bool> m_cancelled{false};
    mutable Mutex m_mutex;
    String m_gateway;  // guarded by m_mutex
};

}  // namespace tessel
