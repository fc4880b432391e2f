#include "libs/base/zip.h"

#include <fcntl.h>
#include <ftw.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string>

#include "libs/base/file.h"
#include "libs/base/log.h"
#include "libs/base/platform.h"
#include "libs/base/runtimesites.h"
#include "libs/base/zipdirectory.h"

namespace tessel::zlib {

namespace {

constexpr const char* kFreshMark = ".unpacking-";

/// A directory held by a lock that ends with the process, however it ends.
class LockedDirectory {
public:
    /// Without waiting.
    explicit LockedDirectory(const char* path) noexcept
        : m_descriptor(::open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)) {
        struct stat held {};
        struct stat named {};
        // Locked in vain if someone who took it for a leftover removed it meanwhile.
        m_mine = m_descriptor >= 0 && ::flock(m_descriptor, LOCK_EX | LOCK_NB) == 0 &&
                 ::fstat(m_descriptor, &held) == 0 && ::lstat(path, &named) == 0 && held.st_ino == named.st_ino &&
                 held.st_dev == named.st_dev;
    }
    LockedDirectory(const LockedDirectory&) = delete;
    LockedDirectory& operator=(const LockedDirectory&) = delete;
    ~LockedDirectory() {
        if (m_descriptor >= 0) {
            ::close(m_descriptor);
        }
    }
    [[nodiscard]] bool mine() const noexcept { return m_mine; }

private:
    const int m_descriptor;
    bool m_mine = false;
};

/// Removes what is left beside the target of an unpacking that was killed. What another process works on is locked
/// and stays.
void removeLeftovers(const String& target) {
    const String parent = File::getPath(target);
    const String prefix = target.range(parent.length()) + kFreshMark;
    List<String> names;
    File::getFullList(parent.empty() ? String("./") : parent, names);
    for (const String& name : names) {
        if (name.starts(prefix)) {
            const String path = parent + name;
            const LockedDirectory leftover(path.str());
            if (leftover.mine()) {
                File::removeTree(path);
            }
        }
    }
}

/// Makes an empty directory beside the target, for its owner alone.
String makeFresh(const String& target) {
    std::string name(target.view());
    name += kFreshMark;
    name += "XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) {
        raise<EZip>("no directory can be made beside the target", sites::kZipUnpack);
    }
    return String::copy(name);
}

// nftw() has no argument for its callback.
thread_local constinit UnpackLimits* leftHere = nullptr;

/// What unzip really made: files and directories only, and no more than the limits.
void checkUnpacked(const String& directory, UnpackLimits limits) {
    constexpr int kDescriptors = 32;
    // The directory itself is met too.
    ++limits.entries;
    leftHere = &limits;
    const auto visit = [](const char*, const struct stat* status, int kind, struct FTW*) -> int {
        const auto bytes = kind == FTW_F ? static_cast<std::uint64_t>(status->st_size) : 0;
        const bool sound = (kind == FTW_F && S_ISREG(status->st_mode)) || kind == FTW_D;
        if (!sound || leftHere->entries == 0 || bytes > leftHere->totalBytes) {
            return 1;
        }
        --leftHere->entries;
        leftHere->totalBytes -= bytes;
        return 0;
    };
    const int outcome = ::nftw(directory.str(), visit, kDescriptors, FTW_PHYS);
    leftHere = nullptr;
    if (outcome != 0) {
        raise<EZip>("the archive unpacks to what is not allowed", sites::kZipUnpacked);
    }
}

void unpack(const String& archive, const String& target, const UnpackLimits& limits,
            const std::atomic<bool>* cancelled) {
    const ZipSummary summary = checkArchive(archive, limits);
    File::ensureDirectory(File::getSubPath(target));
    removeLeftovers(target);
    const String fresh = makeFresh(target);
    const LockedDirectory lock(fresh.str());
    try {
        if (!lock.mine()) {
            raise<EZip>("the directory beside the target was taken away", sites::kZipUnpack);
        }
        // No file may grow beyond the largest that the archive declares, whatever its data say.
        if (platform::runShell("unzip -o -d '" + fresh + "' '" + archive + "'", summary.largestFile, cancelled) != 0) {
            raise<EZip>("unzip failed", sites::kZipUnpack);
        }
        checkUnpacked(fresh, limits);
        if (!platform::replaceDirectory(fresh.str(), target.str())) {
            raise<EZip>("the target cannot be replaced", sites::kZipUnpack);
        }
    } catch (const Exception&) {
        File::removeTree(fresh);
        throw;
    }
    File::removeTree(fresh);
}

void logFailure(const String& archive, const String& why) {
    log(LogCategory::Error, "Zip", "unzip", String("cannot unpack '" + archive + "': " + why));
}

}  // namespace

bool Zip::unzip(const String& archive, const String& destDir, const UnpackLimits& limits,
                const std::atomic<bool>* cancelled) noexcept {
    try {
        const String source = File::normalise(archive);
        const String target = File::normalise(destDir).trimRight('/');
        if (source.find('\'') != String::npos || target.find('\'') != String::npos) {
            logFailure(source, "a path with a single quote is not supported");
            return false;
        }
        if (target.empty()) {
            logFailure(source, "there is no directory to unpack to");
            return false;
        }
        unpack(source, target, limits, cancelled);
        return true;
    } catch (const EZip& caught) {
        logCaught(caught, sites::kZipHandler);
        logFailure(archive, caught.getMessage());
    } catch (const Exception& caught) {
        logCaught(caught, sites::kZipHandler);
        logFailure(archive, "the file system refuses");
    } catch (...) {
        // Memory has ended.
    }
    return false;
}

}  // namespace tessel::zlib
