#include <fcntl.h>
#include <linux/futex.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/utsname.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>
#include <mutex>

#include "libs/base/platform.h"

namespace tessel::platform {

namespace {

constexpr std::array<int, kLogCategories> kPriorities = {LOG_INFO, LOG_DEBUG, LOG_ERR, LOG_CRIT, LOG_WARNING};

/// Makes an opened file ours alone and empty; false for what must not be written to.
bool takeOver(int descriptor) noexcept {
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == ::geteuid() &&
           status.st_nlink == 1 && ::fchmod(descriptor, S_IRUSR | S_IWUSR) == 0 && ::ftruncate(descriptor, 0) == 0;
}

}  // namespace

void systemLog(LogCategory category, const String& body) noexcept {
    static std::once_flag opened;
    std::call_once(opened, [] { ::openlog("nebrixclient", LOG_PID, LOG_USER); });
    ::syslog(kPriorities[static_cast<unsigned>(category)], "%.*s", static_cast<int>(body.length()), body.array());
}

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
