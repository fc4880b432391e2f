// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-sign/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace tessel::sign {

namespace {

[[noreturn]] void fail(const std::string& what, const std::string& path, int error, RaiseSite site) {
    raise<ESign>(String::copy(what + " " + path + ": " + std::strerror(error)), site);
}

[[noreturn]] void tooLong(const std::string& path) {
    raise<ESign>(String::copy("cannot use " + path + ": it is too long"), sites::kCannotRead);
}

/// Whether all bytes were written.
bool writeAll(int file, std::string_view content) {
    while (!content.empty()) {
        const ssize_t written = ::write(file, content.data(), content.size());
        if (written <= 0) {
            return false;
        }
        content.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

}  // namespace

std::string readWhole(const std::string& path, std::uint64_t longest) {
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    std::string content;
    std::array<char, 64 * 1024> piece{};
    while (file.read(piece.data(), piece.size()) || file.gcount() > 0) {
        content.append(piece.data(), static_cast<std::size_t>(file.gcount()));
        if (content.size() > longest) {
            tooLong(path);
        }
    }
    if (!file.eof()) {
        fail("cannot read", path, errno, sites::kCannotRead);
    }
    return content;
}

void requireReadable(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0 || ::access(path.c_str(), R_OK) != 0) {
        fail("cannot read", path, errno, sites::kCannotRead);
    }
    if (static_cast<std::uint64_t>(status.st_size) > kLongestFile) {
        raise<ESign>(String::copy(path + " has 4 GiB or more, which no client takes"), sites::kCannotRead);
    }
}

void place(const std::string& path, std::string_view content, mode_t mode, bool replace) {
    std::string temporary = path + ".XXXXXX";
    const int file = ::mkostemp(temporary.data(), O_CLOEXEC);
    bool good = file >= 0 && writeAll(file, content) && ::fchmod(file, mode) == 0;
    if (file >= 0) {
        good = ::close(file) == 0 && good;
    }
    const bool placed =
        good && (replace ? std::rename(temporary.c_str(), path.c_str()) : ::link(temporary.c_str(), path.c_str())) == 0;
    const int error = errno;
    if (file >= 0 && !(placed && replace)) {
        ::unlink(temporary.c_str());
    }
    if (good && !placed && error == EEXIST) {
        raise<ESign>(String::copy(path + " exists already"), sites::kFileExists);
    }
    if (!placed) {
        fail("cannot write", path, error, sites::kCannotWrite);
    }
}

bool makeDirectory(const std::string& path) {
    std::error_code error;
    const bool made = std::filesystem::create_directories(path, error);
    if (error) {
        fail("cannot make the directory", path, error.value(), sites::kCannotWrite);
    }
    return made;
}

std::string fileName(const std::string& path) { return path.substr(path.find_last_of('/') + 1); }

}  // namespace tessel::sign
