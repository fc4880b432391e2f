#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "libs/base/file.h"
#include "libs/base/log.h"
#include "libs/base/platform.h"
#include "libs/base/runtimesites.h"

// The static half of File: paths and the file system.
namespace tessel {

namespace {

[[noreturn]] void raiseFile(RaiseSite site, const String& path, int systemError = errno) {
    raise<EFile>("EFile", site,
                 {.subject = path, .words = platform::errorText(systemError), .systemError = systemError});
}

[[noreturn]] void cannotOpen(const String& path, const char* method, RaiseSite site) {
    const int systemError = errno;
    log(LogCategory::Trace, "File", method, String("cannot open " + path));
    raiseFile(site, path, systemError);
}

bool statusOf(const String& path, struct stat& status) {
    status = {};
    return ::stat(File::normalise(path).str(), &status) == 0;
}

/// What renaming changed in a directory becomes permanent. Where that is not possible it is left to the system.
void synchroniseDirectory(const String& directory) noexcept {
    const int descriptor = ::open(directory.empty() ? "." : directory.str(), O_RDONLY | O_CLOEXEC | O_DIRECTORY);
    if (descriptor >= 0) {
        ::fsync(descriptor);
        ::close(descriptor);
    }
}

/// A new, empty file beside the path; its name, or an empty one.
std::string temporaryBeside(const String& path) {
    std::string name(path.view());
    name += ".XXXXXX";
    const int descriptor = ::mkostemp(name.data(), O_CLOEXEC);
    if (descriptor < 0) {
        return {};
    }
    ::close(descriptor);
    return name;
}

String pathText(const String& path) { return File::normalise(path).remove('"'); }

}  // namespace

bool File::exists(const String& path) {
    File file;
    return file.open(path, kIn);
}

String File::readAllFile(const String& path) { return readAllFile(path, UINT_MAX); }

String File::readAllFile(const String& path, unsigned limit) {
    File file;
    if (!file.open(path, kIn)) {
        cannotOpen(path, "readAllFile", sites::kReadAllFile);
    }
    if (file.size() > limit) {
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

void File::writeAtomically(const String& path, const String& content) {
    const String target = normalise(path);
    const std::string temporary = temporaryBeside(target);
    File file;
    if (temporary.empty() || !file.open(String::copy(temporary), kOut)) {
        cannotOpen(path, "writeAtomically", sites::kWriteAtomically);
    }
    try {
        file.write(content);
        file.synchronise();
        if (::rename(temporary.c_str(), target.str()) != 0) {
            raiseFile(sites::kWriteAtomically, path);
        }
    } catch (const EFile&) {
        ::unlink(temporary.c_str());
        throw;
    }
    synchroniseDirectory(getPath(target));
}

void File::copy(const String& from, const String& to) {
    struct stat before {};
    struct stat target {};
    File source;
    if (!statusOf(from, before) || !source.open(from, kIn)) {
        raiseFile(sites::kCopyFrom, from);
    }
    File sink;
    const bool onItself = statusOf(to, target) && target.st_dev == before.st_dev && target.st_ino == before.st_ino;
    if (onItself || !sink.open(to, kOut)) {
        raiseFile(sites::kCopyTo, to, onItself ? EINVAL : errno);
    }
    std::array<char, 1024> block{};
    while (const unsigned got = source.read(block.data(), block.size())) {
        sink.write(block.data(), got);
    }
    sink.flush();
    // POSIX has no way to set the time of creation.
    const std::array<timespec, 2> times = {before.st_atim, before.st_mtim};
    static_cast<void>(::futimens(sink.m_descriptor, times.data()));
}

void File::move(const String& from, const String& to) {
    if (std::rename(normalise(from).str(), normalise(to).str()) != 0) {
        raiseFile(sites::kMove, from);
    }
}

void File::remove(const String& path) {
    if (std::remove(normalise(path).str()) != 0) {
        raiseFile(sites::kRemove, path);
    }
}

void File::removeTree(const String& path) {
    constexpr int kDescriptors = 32;
    const auto removeEntry = [](const char* entry, const struct stat*, int, struct FTW*) -> int {
        return std::remove(entry) == 0 || errno == ENOENT ? 0 : -1;
    };
    if (::nftw(normalise(path).str(), removeEntry, kDescriptors, FTW_DEPTH | FTW_PHYS) != 0 && errno != ENOENT) {
        raiseFile(sites::kRemoveTree, path);
    }
}

bool File::isDirectory(const String& path) {
    struct stat status {};
    return statusOf(path, status) && S_ISDIR(status.st_mode);
}

void File::createDirectory(const String& path) {
    const String whole = normalise(path);
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

void File::getFullList(const String& directory, List<String>& out) {
    String path = normalise(directory);
    if (!path.ends("/")) {
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

String File::getUserApplicationDataDirectory() {
    constexpr const char* kName = "/.Nebrix/";
    if (const char* const home = std::getenv("HOME")) {
        return String::copy(home) + kName;
    }
    if (const char* const user = std::getenv("USER")) {
        return "/home/" + String::copy(user) + kName;
    }
    log(LogCategory::Trace, "File", "getUserApplicationDataDirectory", "can not retrieve user application data folder");
    return getCurrentDirectory() + kName;
}

void File::setReadOnly(const String& path, bool readOnly) {
    constexpr mode_t kWriters = S_IWUSR | S_IWGRP | S_IWOTH;
    struct stat status {};
    const bool known = statusOf(path, status);
    const mode_t mode = readOnly ? status.st_mode & ~kWriters : status.st_mode | S_IWUSR;
    if (!known || ::chmod(normalise(path).str(), mode & 07777) != 0) {
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
