// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <linux/futex.h>
#include <poll.h>
#include <pthread.h>
#include <stdio_ext.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>

#include "libs/base/platform.h"

namespace tessel::platform {

namespace {

/// Makes an opened file ours alone and empty; false for what must not be written to.
bool takeOver(int descriptor) noexcept {
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == ::geteuid() &&
           status.st_nlink == 1 && ::fchmod(descriptor, S_IRUSR | S_IWUSR) == 0 && ::ftruncate(descriptor, 0) == 0;
}

/// 1 when the descriptor takes at least PIPE_BUF bytes (or fails) at once, 0 when time is up before, -1 for an error.
int waitWritable(int descriptor, unsigned milliseconds) noexcept {
    pollfd entry{descriptor, POLLOUT, 0};
    int ready = -1;
    do {
        ready = ::poll(&entry, 1, static_cast<int>(milliseconds));
    } while (ready < 0 && errno == EINTR);
    return ready;
}

/// What a pipe that polls as writable takes without waiting, cut behind a line where there is one: no other writer
/// comes between then (POSIX, write()).
std::string_view atomicPiece(std::string_view text) noexcept {
    const std::string_view most = text.substr(0, PIPE_BUF);
    const std::size_t end = most.rfind('\n');
    return end == std::string_view::npos ? most : most.substr(0, end + 1);
}

}  // namespace

std::FILE* openLogFile(const char* path) noexcept {
    // Non-blocking, so that a pipe planted under the name cannot hold the program; truncated only once it is known
    // to be ours.
    const int descriptor =
        ::open(path, O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_APPEND, S_IRUSR | S_IWUSR);
    if (descriptor < 0) {
        return nullptr;
    }
    std::FILE* stream = takeOver(descriptor) ? ::fdopen(descriptor, "a") : nullptr;
    if (stream == nullptr) {
        ::close(descriptor);
        return nullptr;
    }
    // Each fwrite() becomes one write(), which O_APPEND puts at the true end of the file.
    std::setvbuf(stream, nullptr, _IONBF, 0);
    return stream;
}

std::vector<std::string> takeArguments(int argc, char** argv) {
    std::vector<std::string> taken;
    for (int i = 1; i < argc; ++i) {
        taken.emplace_back(argv[i]);
        if (argv[i][0] != '-') {
            ::explicit_bzero(argv[i], taken.back().size());
        }
    }
    return taken;
}

String errorText(int systemError) {
    const char* const text = systemError == 0 ? nullptr : ::strerrordesc_np(systemError);
    return text == nullptr ? String() : String::copy(text);
}

bool writeWithin(int descriptor, std::string_view& text, unsigned milliseconds) noexcept {
    struct stat status {};
    const bool regular = ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
    while (!text.empty()) {
        std::string_view piece = text;
        if (!regular) {
            const int ready = waitWritable(descriptor, milliseconds);
            if (ready <= 0) {
                return ready == 0;
            }
            piece = atomicPiece(text);
        }
        const ssize_t written = ::write(descriptor, piece.data(), piece.size());
        if (written < 0 && errno != EINTR) {
            return errno == EAGAIN;
        }
        text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
    return true;
}

void flushWithoutWaiting(std::FILE* stream) noexcept {
    if (::ftrylockfile(stream) != 0) {
        return;
    }
    const std::size_t pending = ::__fpending(stream);
    if (pending > 0 && pending <= PIPE_BUF && waitWritable(::fileno(stream), 0) > 0) {
        ::fflush_unlocked(stream);
    }
    ::funlockfile(stream);
}

bool systemNames(SystemNames& out) {
    utsname names{};
    if (::uname(&names) != 0) {
        return false;
    }
    out = {String::copy(names.sysname), String::copy(names.release), String::copy(names.version),
           String::copy(names.nodename), String::copy(names.machine)};
    return true;
}

void nameCurrentThread(const String& name) noexcept {
    std::array<char, 16> text{};
    std::memcpy(text.data(), name.array(), std::min<unsigned>(name.length(), text.size() - 1));
    ::pthread_setname_np(::pthread_self(), text.data());
}

unsigned long currentThreadId() noexcept { return static_cast<unsigned long>(::gettid()); }

bool isInitialThread() noexcept { return ::gettid() == ::getpid(); }

void prioritiseCurrentThread(int priority) noexcept {
    // On Linux niceness belongs to the thread. More than the user is allowed is refused, which is as well.
    ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), -priority);
}

void waitWhile(std::atomic<std::uint32_t>& word, std::uint32_t value, unsigned milliseconds) noexcept {
    static_assert(sizeof(word) == sizeof(value) && std::atomic<std::uint32_t>::is_always_lock_free);
    const timespec limit{static_cast<time_t>(milliseconds / 1000), static_cast<long>(milliseconds % 1000) * 1000000L};
    ::syscall(SYS_futex, &word, FUTEX_WAIT_PRIVATE, value, &limit, nullptr, 0);
}

void wakeOne(std::atomic<std::uint32_t>& word) noexcept {
    ::syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

bool replaceDirectory(const char* fresh, const char* target) noexcept {
    if (::renameat2(AT_FDCWD, fresh, AT_FDCWD, target, RENAME_EXCHANGE) == 0) {
        return true;
    }
    if (errno == ENOENT || errno == ENOTDIR) {
        return ::rename(fresh, target) == 0;
    }
    // No exchange on this file system: the old one steps aside first.
    std::array<char, PATH_MAX> aside{};
    const int length = std::snprintf(aside.data(), aside.size(), "%s.old", fresh);
    if (length < 0 || static_cast<unsigned>(length) >= aside.size()) {
        return false;
    }
    if (::rename(target, aside.data()) != 0) {
        return errno == ENOENT && ::rename(fresh, target) == 0;
    }
    if (::rename(fresh, target) != 0) {
        ::rename(aside.data(), target);
        return false;
    }
    ::rename(aside.data(), fresh);
    return true;
}

String programDirectory() {
    std::array<char, PATH_MAX> path{};
    const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
    if (length <= 0 || static_cast<unsigned long>(length) >= path.size()) {
        return {};
    }
    const String program = String::copy(path.data(), static_cast<unsigned>(length));
    return program.range(0, program.rfind('/'));
}

}  // namespace tessel::platform
