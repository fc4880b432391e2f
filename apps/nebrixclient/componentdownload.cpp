// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/componentdownload.h"

#include "apps/nebrixclient/client.h"
#include "apps/nebrixclient/plainname.h"
#include "apps/nebrixclient/signeddll.h"
#include "apps/nebrixclient/sites.h"
#include "libs/base/file.h"
#include "libs/base/log.h"
#include "libs/base/zip.h"

namespace tessel {

ComponentDownload::ComponentDownload(NebrixClient& client, const char* className, const char* prefix, String baseDir,
                                     bool download, Members members, std::chrono::milliseconds patience)
    : m_client(client),
      m_manager(client.downloadManager()),
      m_className(className),
      m_prefix(prefix),
      m_baseDir(std::move(baseDir)),
      m_download(download),
      m_members(members),
      m_patience(patience),
      m_versions(client, className, String(prefix).left('_').lower()) {}

void ComponentDownload::logLine(LogCategory category, const String& text) const {
    log(category, m_className, "downloadDll", text);
}

void ComponentDownload::checkNames(const Dll& dll) {
    requirePlainName("filename", dll.filename);
    requirePlainName("md5", dll.md5, true);
    requirePlainName("pattern", dll.pattern);
}

String ComponentDownload::libraryPath(const Dll& dll) const {
    if (!m_download) {
        return m_baseDir + "/" + dll.pattern;
    }
    return m_baseDir + "/" + m_prefix + dll.md5 + "/" + dll.pattern;
}

bool ComponentDownload::present(const Dll& dll) const {
    const String library = libraryPath(dll);
    const String signature = signaturePath(dll);
    if (!File::exists(library) || !File::exists(signature)) {
        return false;
    }
    logLine(LogCategory::Trace, library + " and " + signature + " are already present.");
    if (dll.md5.empty()) {
        logLine(LogCategory::Warning, "No \"md5\" is announced for " + dll.filename +
                                          ": what is present is used for ever, however old it is");
    }
    return true;
}

void ComponentDownload::fetch(const Dll& dll) {
    if (!m_download) {
        logLine(LogCategory::Trace, "Not downloading dll according to configuration");
        logLine(LogCategory::Trace, "Using " + libraryPath(dll) + " as dll");
    } else if (!present(dll)) {
        obtain(dll, false);
    }
}

VerifiedComponent ComponentDownload::verify(const Dll& dll) {
    VerifiedComponent component = verifyAnew(dll);
    m_versions.judge(dll, component);
    return component;
}

/// One that was present is fetched once more if it has to be.
VerifiedComponent ComponentDownload::verifyAnew(const Dll& dll) {
    const String library = libraryPath(dll);
    try {
        return m_client.verifyDllSignature(library, signaturePath(dll));
    } catch (const EBadSignature& caught) {
        if (m_trouble.kind != EndKind::None) {
            m_client.account().record(m_trouble);
        }
        if (!m_download || m_obtained) {
            throw;
        }
        logCaught(caught, sites::kComponentCheckCatch);
        logLine(LogCategory::Warning, library + " was already present and fails its check: it is fetched once more");
        if (!obtain(dll, true)) {
            throw;
        }
    }
    VerifiedComponent component = m_client.verifyDllSignature(library, signaturePath(dll));
    logLine(LogCategory::Warning, library + " passes its check now");
    return component;
}

/// Fetches and unpacks the archive, unless another session has done so meanwhile and it need not be done anew. True
/// when it was done now and is still wanted.
bool ComponentDownload::obtain(const Dll& dll, bool anew) {
    m_obtained = true;
    const FileLock taken = lock(m_baseDir + "/" + dll.filename);
    if (!anew && present(dll)) {
        return false;
    }
    const String archive = m_manager.downloadFromConfig(dll, m_baseDir, &m_trouble);
    return !archive.empty() && unpack(archive, dll) && !cancelled();
}

bool ComponentDownload::unpack(const String& archive, const Dll& dll) {
    const String library = libraryPath(dll);
    const String directory = File::getSubPath(library);
    String why;
    if (!zlib::Zip::unzip(archive, directory, {}, &m_manager.cancelled(), &why)) {
        m_trouble = {.kind = EndKind::NotUnpacked, .path = archive, .text = why};
        return false;
    }
    if (m_members == Members::Moved) {
        const String unpacked = directory + "/" + dll.pattern;
        move(unpacked, library);
        move(unpacked + ".sig", signaturePath(dll));
    }
    return true;
}

/// Waits for a session that has the lock as long as the archive grows. One that hangs is not waited for, so that it
/// keeps nobody else from a session.
FileLock ComponentDownload::lock(const String& archive) const {
    using Clock = std::chrono::steady_clock;
    File::ensureDirectory(m_baseDir);
    long written = -1;
    Clock::time_point patient = Clock::now();
    FileLock taken(archive + ".lock", [&] {
        if (written < 0) {
            logLine(LogCategory::Trace, "Waiting for another session that fetches " + archive);
        }
        if (const long now = File::getLastWriteTime(archive); now != written) {
            written = now;
            patient = Clock::now() + m_patience;
        }
        return !cancelled() && Clock::now() < patient;
    });
    if (!taken.held() && !cancelled()) {
        logLine(LogCategory::Warning, (written < 0 ? "No lock can be had for " : "Another session hangs over ") +
                                          archive + ": going on without waiting for it");
    }
    return taken;
}

void ComponentDownload::removeIfPresent(const String& path) const {
    try {
        if (File::exists(path)) {
            File::remove(path);
        }
    } catch (const EFile&) {
        logLine(LogCategory::Error, "File '" + path + "' already exists and cannot be removed");
        throw;
    }
}

void ComponentDownload::move(const String& source, const String& target) const {
    try {
        File::move(source, target);
    } catch (const EFile&) {
        logLine(LogCategory::Error, "missing " + source + " in archive");
        m_client.account().record({.kind = EndKind::NotUnpacked, .cause = EndCause::Missing, .path = source});
        throw;
    }
}

void ComponentDownload::copy(const String& source, const String& target) const {
    try {
        File::copy(source, target);
    } catch (const EFile& caught) {
        logCaught(caught, sites::kComponentFileCatch);
        logLine(LogCategory::Error, source + " can't be copied to " + target);
    }
}

void ComponentDownload::copyDllForCompat(const Dll& dll) const {
    requirePlainName("version", dll.version);
    const String target = m_baseDir + "/" + dll.pattern + "_" + dll.version.replace('.', '_') + ".dll";
    const String targetSignature = target + ".sig";
    try {
        removeIfPresent(target);
        removeIfPresent(targetSignature);
        copy(libraryPath(dll), target);
        copy(signaturePath(dll), targetSignature);
    } catch (const EFile& caught) {
        logCaught(caught, sites::kComponentFileCatch);
        log(LogCategory::Warning, "NebrixClientPluginDll", "winDllCompat",
            "Can't replace dll in Plugin root with new one");
    }
}

String pluginDirectory() { return File::getUserApplicationDataDirectory() + "/" + "Plugin"; }

String hostcheckerDirectory() { return File::getUserApplicationDataDirectory() + "/" + "hostchecker"; }

}  // namespace tessel
