// SPDX-License-Identifier: Apache-2.0
#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "libs/base/filedetail.h"
#include "libs/base/log.h"
#include "libs/base/numbers.h"
#include "libs/base/runtimesites.h"

// The static half of File: paths and the file system.
namespace tessel {

namespace {

constinit std::atomic<const char*> g_directoryName{".Nebrix"};

bool statusOf(const String& path, struct stat& status) {
    status = {};
    return ::stat(systemPath(path).str(), &status) == 0;
}

String pathText(const String& path) { return File::normalise(path).remove('"'); }

/// The variable's value; empty when there is none.
String environment(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? String() : String::copy(value);
}

/// Says why the directory may not be the user's own.
void warnOfDirectory(const String& directory, const String& why) {
    log(LogCategory::Warning, "File", "keepPrivate", String("'" + directory + "' " + why));
}

}  // namespace

void cannotOpen(const String& path, const char* method, RaiseSite site) {
    const int systemError = errno;
    log(LogCategory::Trace, "File", method, String("cannot open " + path));
    raiseFile(site, path, systemError);
}

bool File::exists(const String& path) {
    struct stat status {};
    const bool readable = ::faccessat(AT_FDCWD, systemPath(path).str(), R_OK, AT_EACCESS) == 0;
    return readable && statusOf(path, status) && !S_ISSOCK(status.st_mode);
}

String File::readAllFile(const String& path) { return readAllFile(path, String::kMaxLength); }

String File::readAllFile(const String& path, unsigned limit) {
    File file;
    if (!file.open(path, kIn)) {
        cannotOpen(path, "readAllFile", sites::kReadAllFile);
    }
    if (file.wideSize() > limit) {
        raiseFile(sites::kReadAllFileLimit, path, EFBIG);
    }
    String content;
    file.read(content);
    return content;
}

void File::writeAllFile(const String& path, const String& content) {
    File file;
    if (!file.open(path, kOut)) {
        cannotOpen(path, "writeAllFile", sites::kWriteAllFile);
    }
    file.write(content);
    file.flush();
}

void File::copy(const String& from, const String& to) {
    struct stat before {};
    struct stat target {};
    File source;
    if (statusOf(from, before) && !S_ISREG(before.st_mode)) {
        raiseFile(sites::kCopyFrom, from, S_ISDIR(before.st_mode) ? EISDIR : EINVAL);
    }
    if (!source.open(from, kIn)) {
        raiseFile(sites::kCopyFrom, from);
    }
    File sink;
    const bool onItself = statusOf(to, target) && target.st_dev == before.st_dev && target.st_ino == before.st_ino;
    if (onItself || !sink.open(to, kOut)) {
        raiseFile(sites::kCopyTo, to, onItself ? EINVAL : errno);
    }
    try {
        std::array<char, 1024> block{};
        while (const unsigned got = source.read(block.data(), block.size())) {
            sink.write(block.data(), got);
        }
        sink.flush();
    } catch (...) {
        if (::lstat(sink.m_path.str(), &target) == 0 && S_ISREG(target.st_mode)) {
            ::unlink(sink.m_path.str());
        }
        throw;
    }
    // POSIX has no way to set the time of creation.
    const std::array<timespec, 2> times = {before.st_atim, before.st_mtim};
    static_cast<void>(::futimens(sink.m_descriptor, times.data()));
}

void File::move(const String& from, const String& to) {
    if (std::rename(systemPath(from).str(), systemPath(to).str()) != 0) {
        raiseFile(sites::kMove, from);
    }
}

void File::remove(const String& path) {
    if (std::remove(systemPath(path).str()) != 0) {
        raiseFile(sites::kRemove, path);
    }
}

void File::removeTree(const String& path) {
    constexpr int kDescriptors = 32;
    const auto removeEntry = [](const char* entry, const struct stat*, int, struct FTW*) -> int {
        return std::remove(entry) == 0 || errno == ENOENT ? 0 : -1;
    };
    const int outcome = ::nftw(systemPath(path).str(), removeEntry, kDescriptors, FTW_DEPTH | FTW_PHYS);
    if (outcome != 0 && (errno != ENOENT || holdsNul(path))) {
        raiseFile(sites::kRemoveTree, path);
    }
}

bool File::isDirectory(const String& path) {
    struct stat status {};
    return statusOf(path, status) && S_ISDIR(status.st_mode);
}

void File::createDirectory(const String& path) {
    const String whole = systemPath(path);
    if (holdsNul(path)) {
        raiseFile(sites::kCreateDirectory, path, ENOENT);
    }
    for (unsigned end = 0; end < whole.length();) {
        end = std::min(whole.find('/', end + 1), whole.length());
        const String prefix = whole.range(0, end).clone();
        if (::mkdir(prefix.str(), S_IRWXU) != 0 && (errno != EEXIST || !isDirectory(prefix))) {
            raiseFile(sites::kCreateDirectory, prefix);
        }
    }
}

void File::ensureDirectory(const String& path) {
    if (!isDirectory(path)) {
        createDirectory(path);
    }
}

void File::keepPrivate(const String& directory) {
    const int descriptor = ::open(systemPath(directory).str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    struct stat status {};
    const bool known = descriptor >= 0 && ::fstat(descriptor, &status) == 0;
    if (known && status.st_uid != ::geteuid()) {
        warnOfDirectory(directory, "belongs to another user, number " + toString(status.st_uid));
    } else if (!known || ((status.st_mode & 0777) != S_IRWXU && ::fchmod(descriptor, S_IRWXU) != 0)) {
        warnOfDirectory(directory, "cannot be made its owner's alone: " + platform::errorText(errno));
    }
    if (descriptor >= 0) {
        ::close(descriptor);
    }
}

void File::getFullList(const String& directory, List<String>& out) {
    String path = systemPath(directory);
    if (!path.ends("/") && !holdsNul(directory)) {
        path += "/";
    }
    const std::unique_ptr<DIR, int (*)(DIR*)> opened(::opendir(path.str()), &::closedir);
    if (opened == nullptr) {
        log(LogCategory::Trace, "File", "getFullList", String("unable to opendir() " + directory));
        return;
    }
    while (const dirent* entry = ::readdir(opened.get())) {
        String name = String::copy(entry->d_name);
        if (!(name == ".") && !(name == "..")) {
            out.push_back(std::move(name));
        }
    }
}

String File::getPath(const String& path) {
    const String text = pathText(path);
    const unsigned slash = text.rfind('/');
    return slash == String::npos ? String() : text.range(0, slash + 1);
}

String File::getSubPath(const String& path) {
    const String text = pathText(path);
    const unsigned slash = text.rfind('/');
    return slash == String::npos ? String() : text.range(0, slash);
}

String File::normalise(const String& path) { return path.replace('\\', '/'); }

String File::getCurrentDirectory() {
    std::array<char, PATH_MAX> path{};
    return ::getcwd(path.data(), path.size()) == nullptr ? String() : String::copy(path.data());
}

void File::setUserApplicationDirectoryName(const char* name) noexcept {
    g_directoryName.store(name, std::memory_order_relaxed);
}

String File::getUserApplicationDataDirectory() {
    const String own = "/" + String(g_directoryName.load(std::memory_order_relaxed)) + "/";
    // The client makes the data directory its working directory; what is relative means what it did before.
    static const String start = getCurrentDirectory();
    const String home = environment("HOME");
    if (!home.empty()) {
        return (home.starts("/") ? home : String(start + "/" + home)) + own;
    }
    const String user = environment("USER");
    if (!user.empty()) {
        return "/home/" + user + own;
    }
    log(LogCategory::Trace, "File", "getUserApplicationDataDirectory", "can not retrieve user application data folder");
    return start + own;
}

void File::setReadOnly(const String& path, bool readOnly) {
    constexpr mode_t kWriters = S_IWUSR | S_IWGRP | S_IWOTH;
    struct stat status {};
    const bool known = statusOf(path, status);
    const mode_t mode = readOnly ? status.st_mode & ~kWriters : status.st_mode | S_IWUSR;
    if (!known || ::chmod(systemPath(path).str(), mode & 07777) != 0) {
        raiseFile(sites::kSetReadOnly, path);
    }
}

bool File::isReadOnly(const String& path) {
    struct stat status {};
    return statusOf(path, status) && (status.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
}

long File::getLastWriteTime(const String& path) {
    struct stat status {};
    return statusOf(path, status) ? status.st_mtim.tv_sec : 0;
}

}  // namespace tessel
