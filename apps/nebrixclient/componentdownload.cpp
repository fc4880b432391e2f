#include "apps/nebrixclient/componentdownload.h"

#include "apps/nebrixclient/client.h"
#include "apps/nebrixclient/plainname.h"
#include "apps/nebrixclient/signeddll.h"
#include "apps/nebrixclient/sites.h"
#include "libs/base/file.h"
#include "libs/base/log.h"
#include "libs/base/zip.h"

namespace tessel {

ComponentDownload::ComponentDownload(DownloadManager& manager, const char* className, const char* prefix,
                                     String baseDir, bool download)
    : m_manager(manager),
      m_className(className),
      m_prefix(prefix),
      m_baseDir(std::move(baseDir)),
      m_download(download) {}

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

bool ComponentDownload::fetch(const Dll& dll) {
    m_trouble = SessionEnd();
    const String library = libraryPath(dll);
    const String signature = signaturePath(dll);
    if (!m_download) {
        logLine(LogCategory::Trace, "Not downloading dll according to configuration");
        logLine(LogCategory::Trace, "Using " + library + " as dll");
        return false;
    }
    if (File::exists(library) && File::exists(signature)) {
        logLine(LogCategory::Trace, library + " and " + signature + " are already present.");
        return false;
    }
    const String archive = m_manager.downloadFromConfig(dll, m_baseDir, &m_trouble);
    if (archive.empty()) {
        return false;
    }
    if (!zlib::Zip::unzip(archive, File::getSubPath(library), {}, &m_manager.cancelled())) {
        m_trouble = {.kind = EndKind::NotUnpacked, .path = archive};
        return false;
    }
    return true;
}

void ComponentDownload::verify(const Dll& dll, NebrixClient& client) const {
    try {
        client.verifyDllSignature(libraryPath(dll), signaturePath(dll));
    } catch (const EBadSignature&) {
        if (m_trouble.kind != EndKind::None) {
            client.account().record(m_trouble);
        }
        throw;
    }
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

void ComponentDownload::move(const String& source, const String& target) {
    try {
        File::move(source, target);
    } catch (const EFile&) {
        logLine(LogCategory::Error, "missing " + source + " in archive");
        m_trouble = {.kind = EndKind::NotUnpacked, .cause = EndCause::Missing, .path = source};
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
