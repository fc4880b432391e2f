// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "libs/base/platform.h"

namespace tessel::platform {

namespace {

Guarded judge(const struct stat& status, unsigned owner) noexcept {
    if (status.st_uid != owner) {
        return Guarded::ForeignOwner;
    }
    return (status.st_mode & (S_IWGRP | S_IWOTH)) != 0 ? Guarded::Writable : Guarded::Read;
}

Guarded failure() noexcept {
    switch (errno) {
        case ENOENT:
        case ENOTDIR:
            return Guarded::Missing;
        case ELOOP:  // a symbolic link
            return Guarded::NotAFile;
        default:
            return Guarded::Unreadable;
    }
}

Guarded readAll(int descriptor, std::size_t most, String& content) {
    std::array<char, 4096> block;
    for (;;) {
        const ssize_t count = ::read(descriptor, block.data(), block.size());
        if (count == 0) {
            return Guarded::Read;
        }
        if (count > 0) {
            content.append(block.data(), static_cast<unsigned>(count));
        } else if (errno != EINTR) {
            return Guarded::Unreadable;
        }
        if (content.length() > most) {
            return Guarded::TooLong;
        }
    }
}

}  // namespace

Guarded readGuarded(const String& path, unsigned owner, std::size_t most, String& content) {
    constexpr int kPlain = O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    const std::string directory(path.view().substr(0, path.view().rfind('/') + 1));
    const std::string name(path.view().substr(directory.size()));
    struct stat status {};
    const Descriptor above(::open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!above.valid() || ::fstat(above.get(), &status) != 0) {
        return failure();
    }
    const Guarded place = judge(status, owner);
    const Descriptor file(::openat(above.get(), name.c_str(), kPlain));
    if (!file.valid() || ::fstat(file.get(), &status) != 0) {
        // Whoever may write there may have taken it away.
        const Guarded why = failure();
        return why == Guarded::Missing ? (place == Guarded::Read ? why : place) : why;
    }
    if (!S_ISREG(status.st_mode)) {
        return Guarded::NotAFile;
    }
    if (const Guarded own = judge(status, owner); own != Guarded::Read || place != Guarded::Read) {
        return own != Guarded::Read ? own : place;
    }
    return readAll(file.get(), most, content);
}

String managedSettingsPath() { return "/etc/nebrix/nebrixclient.xml"; }

}  // namespace tessel::platform
