// SPDX-License-Identifier: Apache-2.0
#include "libs/base/zip.h"

#include <fcntl.h>
#include <ftw.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>

#include "libs/base/file.h"
#include "libs/base/log.h"
#include "libs/base/numbers.h"
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

/// Removes a directory that nobody needs. One that cannot be removed is no reason to fail.
void discard(const String& directory) {
    try {
        File::removeTree(directory);
    } catch (const EFile& caught) {
        logCaught(caught, sites::kZipHandler);
        log(LogCategory::Warning, "Zip", "unzip", String("cannot remove '" + directory + "', which stays"));
    }
}

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
                discard(path);
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

/// What lies in a directory.
struct Content {
    std::uint64_t bytes = 0;
    std::uint64_t entries = 0;
    bool sound = true;  // nothing but files and directories, and all of it could be seen
};

// nftw() has no argument for its callback.
thread_local constinit Content* counted = nullptr;

Content contentOf(const String& directory) noexcept {
    constexpr int kDescriptors = 32;
    Content content;
    counted = &content;
    const auto count = [](const char*, const struct stat* status, int kind, struct FTW* place) -> int {
        counted->entries += place->level > 0 ? 1 : 0;
        counted->bytes += kind == FTW_F ? static_cast<std::uint64_t>(status->st_size) : 0;
        counted->sound = counted->sound && ((kind == FTW_F && S_ISREG(status->st_mode)) || kind == FTW_D);
        return 0;
    };
    const bool seen = ::nftw(directory.str(), count, kDescriptors, FTW_PHYS) == 0;
    counted = nullptr;
    content.sound = content.sound && seen;
    return content;
}

/// unzip at work on one archive.
class Unpacking {
    using Clock = std::chrono::steady_clock;

public:
    Unpacking(const String& fresh, const ZipSummary& declared, const UnpackLimits& limits,
              const std::atomic<bool>* cancelled)
        : m_fresh(fresh),
          m_declared(declared),
          m_entries(limits.entries),
          m_end(Clock::now() + limits.time),
          m_cancelled(cancelled) {}

    /// Raises EZip.
    void run(const String& archive) {
        // The shell gives its place to unzip, which then ends with this process.
        const int status = platform::runShell("exec unzip -o -d '" + m_fresh + "' '" + archive + "'",
                                              m_declared.largestFile, [this] { return goOn(); });
        const Content made = contentOf(m_fresh);
        if (m_objection == nullptr && (!made.sound || tooMuch(made))) {  // it was quicker than the looks at it
            raise<EZip>("the archive unpacks to what is not allowed", sites::kZipUnpacked);
        }
        if (status != 0 || m_objection != nullptr) {  // it may have been quicker than the signal
            raise<EZip>(m_objection == nullptr ? failure(status) : String(m_objection), sites::kZipUnpack);
        }
    }

private:
    bool goOn() noexcept {
        const Clock::time_point now = Clock::now();
        if (m_cancelled != nullptr && *m_cancelled) {
            m_objection = "it was given up";
        } else if (now >= m_end) {
            m_objection = "unzip takes too long";
        } else if (now >= m_nextLook) {
            // Several files may each be as long as the longest that is declared, so all are looked at. With very many
            // of them that takes its time, and is left at a fifth of all.
            if (tooMuch(contentOf(m_fresh))) {
                m_objection = "the archive unpacks to more than it declares";
            }
            const Clock::time_point seen = Clock::now();
            m_nextLook = seen + (seen - now) * 4;
        }
        return m_objection == nullptr;
    }
    [[nodiscard]] bool tooMuch(const Content& content) const noexcept {
        return content.bytes > m_declared.totalBytes || content.entries > m_entries;
    }
    static String failure(int status) {
        constexpr int kDiskFull = 50;
        constexpr int kMissing = 127;
        constexpr int kFileTooLarge = 128 + SIGXFSZ;
        switch (status) {
            case -1:
                return "the system starts no process";
            case kDiskFull:
                return "the disk is full, or a file is longer than any that the archive declares";
            case kMissing:
                return "there is no unzip program";
            case kFileTooLarge:
                return "a file is longer than any that the archive declares";
            default:
                return "unzip failed with status " + toString(status);
        }
    }

    const String& m_fresh;
    const ZipSummary& m_declared;
    const unsigned m_entries;
    const Clock::time_point m_end;
    Clock::time_point m_nextLook;
    const std::atomic<bool>* const m_cancelled;
    const char* m_objection = nullptr;
};

void unpack(const String& archive, const String& target, const UnpackLimits& limits,
            const std::atomic<bool>* cancelled) {
    if (archive.find('\'') != String::npos || target.find('\'') != String::npos) {
        raise<EZip>("a path with a single quote is not supported", sites::kZipUnpack);
    }
    if (target.empty()) {
        raise<EZip>("there is no directory to unpack to", sites::kZipUnpack);
    }
    const ZipSummary declared = checkArchive(archive, limits);
    File::ensureDirectory(File::getSubPath(target));
    removeLeftovers(target);
    const String fresh = makeFresh(target);
    const LockedDirectory lock(fresh.str());
    try {
        if (!lock.mine()) {
            raise<EZip>("the directory beside the target was taken away", sites::kZipUnpack);
        }
        Unpacking(fresh, declared, limits, cancelled).run(archive);
        if (!platform::replaceDirectory(fresh.str(), target.str())) {
            raise<EZip>("the target cannot be replaced", sites::kZipUnpack);
        }
    } catch (...) {  // memory may have ended
        discard(fresh);
        throw;
    }
    discard(fresh);
}

/// The same with its failure in words; empty when there is none.
String failureToUnpack(const String& archive, const String& target, const UnpackLimits& limits,
                       const std::atomic<bool>* cancelled) {
    try {
        unpack(archive, target, limits, cancelled);
        return {};
    } catch (const Exception& caught) {
        logCaught(caught, sites::kZipHandler);
        const ErrorFacts& facts = caught.facts();
        return facts.words.empty() ? caught.getMessage() : String(facts.subject + ": " + facts.words);
    }
}

}  // namespace

bool Zip::unzip(const String& archive, const String& destDir, const UnpackLimits& limits,
                const std::atomic<bool>* cancelled, String* why) noexcept {
    try {
        const String failure =
            failureToUnpack(File::normalise(archive), File::normalise(destDir).trimRight('/'), limits, cancelled);
        if (failure.empty()) {
            return true;
        }
        log(LogCategory::Error, "Zip", "unzip", String("cannot unpack '" + archive + "': " + failure));
        if (why != nullptr) {
            *why = failure;
        }
    } catch (...) {
        // Memory has ended.
    }
    return false;
}

}  // namespace tessel::zlib
