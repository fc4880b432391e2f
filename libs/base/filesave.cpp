// SPDX-License-Identifier: Apache-2.0
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "libs/base/filedetail.h"
#include "libs/base/runtimesites.h"

// Replacing a file in one step.
namespace tessel {

namespace {

constexpr const char* kMark = ".saving-";
constexpr const char* kRandom = "XXXXXX";

/// Behind the last "/".
unsigned nameIn(const String& path) {
    const unsigned slash = path.rfind('/');
    return slash == String::npos ? 0 : slash + 1;
}

String directoryOf(const String& path) {
    const unsigned name = nameIn(path);
    return name == 0 ? String(".") : path.range(0, name);
}

/// Locks a file until it is closed, in whatever way the process ends; false when somebody else has it. On a file
/// system without locks there is nobody else.
bool lock(int descriptor) noexcept { return ::flock(descriptor, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK; }

/// A new, empty, locked file with this beginning of its name, for its owner alone. Its descriptor, or -1.
int makeTemporary(std::string& name) {
    constexpr int kAttempts = 8;
    const std::size_t length = name.size();
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        name.resize(length);
        name += kRandom;
        const int descriptor = ::mkostemp(name.data(), O_CLOEXEC);
        struct stat status {};
        if (descriptor < 0 || (lock(descriptor) && (::fstat(descriptor, &status) != 0 || status.st_nlink != 0))) {
            return descriptor;
        }
        // Another saver came before the lock and takes it for a leftover.
        ::close(descriptor);
    }
    return -1;
}

/// Removes a file that nobody has locked; none at all where there are no locks.
void removeAbandoned(const String& path) noexcept {
    const int descriptor = ::open(path.str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        return;
    }
    struct stat status {};
    if (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && ::flock(descriptor, LOCK_EX | LOCK_NB) == 0) {
        ::unlink(path.str());
    }
    ::close(descriptor);
}

/// Removes what savers of this file left that were killed.
void removeLeftovers(const String& target) {
    if (target.empty()) {
        return;
    }
    const String directory = directoryOf(target);
    const std::unique_ptr<DIR, int (*)(DIR*)> opened(::opendir(directory.str()), &::closedir);
    const String prefix = target.range(nameIn(target)) + kMark;
    while (const dirent* entry = opened == nullptr ? nullptr : ::readdir(opened.get())) {
        const String name = String::copy(entry->d_name);
        if (name.length() == prefix.length() + String::length(kRandom) && name.starts(prefix)) {
            removeAbandoned(directory + "/" + name);
        }
    }
}

/// What renaming changed in a directory becomes permanent. Where that is not possible it is left to the system.
void synchroniseDirectory(const String& directory) noexcept {
    const int descriptor = ::open(directory.str(), O_RDONLY | O_CLOEXEC | O_DIRECTORY);
    if (descriptor >= 0) {
        ::fsync(descriptor);
        ::close(descriptor);
    }
}

}  // namespace

bool File::openTemporary(const String& target) {
    if (target.empty()) {
        errno = ENOENT;
        return false;
    }
    std::string name(target.view());
    name += kMark;
    const int descriptor = makeTemporary(name);
    if (descriptor < 0) {
        return false;
    }
    m_descriptor = descriptor;
    m_state = State::Writing;
    m_path = String::copy(name);
    return true;
}

void File::writeAtomically(const String& path, const String& content) {
    const String target = systemPath(path);
    // Before anything is created: however often savers are killed, each finds at most the file of the one before it.
    removeLeftovers(target);
    File file;
    if (!file.openTemporary(target)) {
        cannotOpen(path, "writeAtomically", sites::kWriteAtomically);
    }
    try {
        file.write(content);
        file.flush();
        // Open to everybody as every file that this class writes, but only from here on.
        static_cast<void>(::fchmod(file.m_descriptor, 0777));
        file.synchronise();
        if (::rename(file.m_path.str(), target.str()) != 0) {
            raiseFile(sites::kWriteAtomically, path);
        }
    } catch (...) {
        ::unlink(file.m_path.str());
        throw;
    }
    synchroniseDirectory(directoryOf(target));
}

}  // namespace tessel
