// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>

#include "libs/base/platform.h"

extern "C" {  // which the header itself lacks in glibc 2.36
#include <sys/pidfd.h>
}

#ifndef MFD_EXEC
#define MFD_EXEC 0x0010U  // since Linux 6.3
#endif

namespace tessel::platform {

namespace {

constexpr int kAllSeals = F_SEAL_SEAL | F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE;

Descriptor executableMemory(String& why) noexcept {
    constexpr unsigned kFlags = MFD_CLOEXEC | MFD_ALLOW_SEALING;
    int memory = ::memfd_create("sealed", kFlags | MFD_EXEC);
    if (memory < 0 && errno == EINVAL) {  // an older system, where all such memory can be run
        memory = ::memfd_create("sealed", kFlags);
    }
    if (memory < 0 && errno == EACCES) {
        why = "this system forbids memory whose content can be run (vm.memfd_noexec)";
    }
    return Descriptor(memory);
}

bool writeAll(int descriptor, const char* bytes, std::size_t length) noexcept {
    while (length != 0) {
        const ssize_t written = ::write(descriptor, bytes, length);
        if (written < 0 && errno != EINTR) {
            return false;
        }
        bytes += std::max<ssize_t>(written, 0);
        length -= static_cast<std::size_t>(std::max<ssize_t>(written, 0));
    }
    return true;
}

bool copyInto(int target, int source, std::uint64_t most) noexcept {
    std::array<char, 65536> block;
    for (std::uint64_t copied = 0;;) {
        const ssize_t count = ::read(source, block.data(), block.size());
        if (count == 0) {
            return true;
        }
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        copied += static_cast<std::uint64_t>(count);
        if (copied > most) {  // it grows while it is read
            errno = EFBIG;
            return false;
        }
        if (!writeAll(target, block.data(), static_cast<std::size_t>(count))) {
            return false;
        }
    }
}

/// What posix_spawn(3) is told, for as long as it runs.
class SpawnPlan {
public:
    explicit SpawnPlan(const ProcessStart& start) {
        ::posix_spawn_file_actions_init(&m_actions);
        ::posix_spawnattr_init(&m_attributes);
        place(start);
        sigset_t signals;
        ::sigemptyset(&signals);
        ::posix_spawnattr_setsigmask(&m_attributes, &signals);
        ::sigfillset(&signals);
        ::posix_spawnattr_setsigdefault(&m_attributes, &signals);
        ::posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID);
    }
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;
    ~SpawnPlan() {
        ::posix_spawnattr_destroy(&m_attributes);
        ::posix_spawn_file_actions_destroy(&m_actions);
    }

    /// 0, or the error.
    int spawn(pid_t& child, const char* program, char* const* arguments) const noexcept {
        return ::posix_spawn(&child, program, &m_actions, &m_attributes, arguments, environ);
    }

private:
    // By way of numbers that nothing has, since a descriptor may already have the number that another one is to get.
    void place(const ProcessStart& start) {
        const int first = STDERR_FILENO + 1;
        const int behind = first + static_cast<int>(start.descriptors.size());
        int free = std::max({behind, start.input + 1, start.output + 1});
        for (const int descriptor : start.descriptors) {
            free = std::max(free, descriptor + 1);
        }
        for (std::size_t i = 0; i < start.descriptors.size(); ++i) {
            ::posix_spawn_file_actions_adddup2(&m_actions, start.descriptors[i], free + static_cast<int>(i));
        }
        placeOrNothing(start.output, STDOUT_FILENO);
        placeOrNothing(start.input, STDIN_FILENO);
        ::posix_spawn_file_actions_adddup2(&m_actions, STDOUT_FILENO, STDERR_FILENO);
        for (std::size_t i = 0; i < start.descriptors.size(); ++i) {
            const int offset = static_cast<int>(i);
            ::posix_spawn_file_actions_adddup2(&m_actions, free + offset, first + offset);
        }
        ::posix_spawn_file_actions_addclosefrom_np(&m_actions, behind);
    }

    void placeOrNothing(int descriptor, int number) {
        if (descriptor < 0) {
            ::posix_spawn_file_actions_addopen(&m_actions, number, "/dev/null", O_RDWR, 0);
        } else {
            ::posix_spawn_file_actions_adddup2(&m_actions, descriptor, number);
        }
    }

    posix_spawn_file_actions_t m_actions{};
    posix_spawnattr_t m_attributes{};
};

}  // namespace

Descriptor sealedCopy(int descriptor, std::uint64_t most, String& why) noexcept {
    Descriptor memory = executableMemory(why);
    if (!memory.valid() || !copyInto(memory.get(), descriptor, most) ||
        ::fcntl(memory.get(), F_ADD_SEALS, kAllSeals) != 0) {
        const int systemError = errno;
        memory.close();
        errno = systemError;
    }
    return memory;
}

bool isSealed(int descriptor) noexcept {
    const int seals = ::fcntl(descriptor, F_GET_SEALS);
    return seals >= 0 && (seals & kAllSeals) == kAllSeals;
}

void keepEndedChildren() noexcept {
    struct sigaction action {};
    if (::sigaction(SIGCHLD, nullptr, &action) == 0 &&
        (action.sa_handler == SIG_IGN || (action.sa_flags & SA_NOCLDWAIT) != 0)) {
        action.sa_flags &= ~SA_NOCLDWAIT;
        action.sa_handler = action.sa_handler == SIG_IGN ? SIG_DFL : action.sa_handler;
        ::sigaction(SIGCHLD, &action, nullptr);
    }
}

bool isSignalIgnored(int signal) noexcept {
    struct sigaction action {};
    return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

StartedProcess startProcess(const ProcessStart& start) {
    keepEndedChildren();
    std::vector<std::string> texts{start.program.str()};
    texts.insert(texts.end(), start.arguments.begin(), start.arguments.end());
    std::vector<char*> arguments;
    arguments.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        arguments.push_back(text.data());
    }
    arguments.push_back(nullptr);
    const SpawnPlan plan(start);
    StartedProcess started;
    const int failure = plan.spawn(started.id, start.program.str(), arguments.data());
    if (failure == 0) {
        started.ended = Descriptor(static_cast<int>(::syscall(SYS_pidfd_open, started.id, 0)));
        if (started.ended.valid()) {
            return started;
        }
        killProcess(started.id);
        reapProcess(started.id);
    }
    started.systemError = failure != 0 ? failure : EMFILE;
    started.id = -1;
    return started;
}

ProcessEnd reapProcess(int id) noexcept {
    int status = 0;
    rusage usage{};
    while (::wait4(id, &status, 0, &usage) < 0 && errno == EINTR) {
    }
    ProcessEnd end;
    end.status = WIFEXITED(status) ? WEXITSTATUS(status) : 0;
    end.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    end.coreDumped = WIFSIGNALED(status) && WCOREDUMP(status);
    end.mostKiB = static_cast<unsigned long>(usage.ru_maxrss);
    return end;
}

void killProcess(int id) noexcept { ::kill(id, SIGKILL); }

// startProcess() gave it a session of its own, and so a group with its number.
void killProcessGroup(int id) noexcept { ::kill(-id, SIGKILL); }

void endWithParent() noexcept { ::prctl(PR_SET_PDEATHSIG, SIGKILL); }

}  // namespace tessel::platform
