// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/downloadmanager.h"

#include <cerrno>
#include <chrono>

#include "apps/nebrixclient/filedigest.h"
#include "apps/nebrixclient/plainname.h"
#include "apps/nebrixclient/sites.h"
#include "libs/base/file.h"
#include "libs/base/log.h"
#include "libs/base/platform.h"
#include "libs/http/authority.h"
#include "libs/http/uri.h"
#include "libs/openssl/digest.h"

namespace tessel {

namespace {

constexpr int kHttpOk = 200;

void logError(const String& text) { log(LogCategory::Error, "DownloadManager", "downloadFileTo", text); }

/// What was given up leaves nothing half behind.
void removeCut(const String& path) {
    try {
        File::remove(path);
    } catch (const EFile& caught) {
        logCaught(caught, sites::kDownloadWriteCatch);
    }
}

/// A body's way into a file. Remembers why the file could not take it, which the transfer does not pass on.
class FileSink final : public IWriter {
public:
    using IWriter::write;
    bool open(const String& path) {
        const bool opened = m_file.open(path, File::kOut);
        if (!opened) {
            const int systemError = errno;
            m_failure = {.subject = path, .words = platform::errorText(systemError), .systemError = systemError};
        }
        return opened;
    }
    void write(const char* data, unsigned length) override {
        try {
            m_file.write(data, length);
        } catch (const EFile& caught) {
            m_failure = caught.facts();
            throw;
        }
    }
    void flush() { m_file.flush(); }
    [[nodiscard]] const ErrorFacts& failure() const noexcept { return m_failure; }

private:
    File m_file;
    ErrorFacts m_failure;
};

/// Passes a transfer on, thinned out.
class ProgressReport final : public ITransferListener {
public:
    explicit ProgressReport(IProgressNotify* to) : m_to(to) { send(false); }
    ProgressReport(const ProgressReport&) = delete;
    ProgressReport& operator=(const ProgressReport&) = delete;
    ~ProgressReport() override { send(true); }

    void onTransfer(std::uint64_t received, std::uint64_t expected) noexcept override {
        const Clock::time_point now = Clock::now();
        const bool due = received != m_sent && now - m_last >= kInterval;
        m_received = received;
        m_expected = expected;
        if (due) {
            m_last = now;
            m_sent = received;
            send(false);
        }
    }

private:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds kInterval{100};

    void send(bool over) noexcept {
        if (m_to != nullptr) {
            m_to->onTransfer(m_received, m_expected, over);
        }
    }

    IProgressNotify* const m_to;
    Clock::time_point m_last = Clock::now();
    std::uint64_t m_sent = 0;
    std::uint64_t m_received = 0;
    std::uint64_t m_expected = 0;
};

}  // namespace

void DownloadManager::cancel() noexcept {
    m_cancelled = true;
    m_session.cancel();
}

void DownloadManager::resume() noexcept {
    m_cancelled = false;
    m_session.resume();
}

void DownloadManager::setGateway(const String& authority) {
    Lock lock(m_mutex);
    m_gateway = authority;
}

String DownloadManager::gateway() const {
    Lock lock(m_mutex);
    return m_gateway;
}

DownloadManager::DownloadManager(const ClientLocalConfiguration& configuration) : m_session(configuration) {
    setLargestFile(kLargestFile);
}

String DownloadManager::resolve(const String& url) const {
    http::Uri uri = http::Uri::parse(url);
    if (http::Authority(uri.getAuthority()).getHost().empty()) {
        uri.setScheme("https");
        uri.setAuthority(gateway());
        if (!uri.getPath().starts("/")) {
            uri.setPath("/" + uri.getPath());  // else it would run into the host's name
        }
    }
    return uri.getFullUri();
}

bool DownloadManager::downloadFileTo(const String& url, const String& localPath, SessionEnd* why) {
    File::ensureDirectory(File::getSubPath(localPath));
    log(LogCategory::Trace, "DownloadManager", "downloadFileTo", String(http::loggedUrl(url) + " -> " + localPath));
    const String uri = resolve(url);
    SessionEnd failure;
    if (transfer(uri, localPath, failure)) {
        return true;
    }
    // The misspelling is what administrators search for.
    logError(String("Error while downloding '" + localPath + "' from '" + http::loggedUrl(uri) + "'"));
    if (m_cancelled) {
        removeCut(localPath);
    }
    if (why != nullptr) {
        *why = failure;
    }
    return false;
}

bool DownloadManager::transfer(const String& uri, const String& localPath, SessionEnd& why) {
    FileSink sink;
    if (!sink.open(localPath)) {
        why = endOfFile(sink.failure());
        logError(String("Cannot open file \"" + localPath + "\""));
        return false;
    }
    RequestInfo info;
    try {
        ProgressReport report(m_progress);
        const bool done = m_session.request(uri, sink, info, report);
        sink.flush();
        if (done && info.getResponseHeader().getResponseCode() == kHttpOk) {
            return true;
        }
        why = sink.failure().systemError != 0
                  ? endOfFile(sink.failure())
                  : endOf(info, EndKind::ArchiveMissing,
                          http::Authority(http::Uri::parse(uri).getAuthority()).getServer());
    } catch (const EFile& caught) {
        logCaught(caught, sites::kDownloadWriteCatch);
        why = endOfFile(caught.facts());
    }
    if (why.cause == EndCause::NoRoom) {
        why.kind = EndKind::ArchiveMissing;
    }
    return false;
}

String DownloadManager::downloadFromConfig(const DownloadConfig& config, const String& targetDir, SessionEnd* why) {
    requirePlainName("filename", config.filename);
    String localPath = targetDir + "/" + config.filename;
    if (File::exists(localPath) && computeFileMd5(localPath) == config.md5) {
        log(LogCategory::Trace, "DownloadManager", "downloadFromConfig",
            String(localPath + " has the announced MD5 and is not fetched again"));
        return localPath;
    }
    return downloadFileTo(config.urlpath + config.filename, localPath, why) ? localPath : String::null;
}

String DownloadManager::computeFileMd5(const String& path) {
    tls::MD5 digest;
    return digestFile(path, digest).toHex();
}

}  // namespace tessel
