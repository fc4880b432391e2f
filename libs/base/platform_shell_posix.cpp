#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <string_view>
#include <vector>

#include "libs/base/numbers.h"
#include "libs/base/platform.h"

namespace tessel::platform {

namespace {

constexpr std::array<std::string_view, 4> kUnzipVariables = {"UNZIP=", "UNZIPOPT=", "ZIPINFO=", "ZIPINFOOPT="};

/// The environment without what would add options to unzip.
std::vector<char*> shellEnvironment() {
    std::vector<char*> kept;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        const std::string_view text = *entry;
        bool dropped = false;
        for (const std::string_view name : kUnzipVariables) {
            dropped = dropped || text.substr(0, name.size()) == name;
        }
        if (!dropped) {
            kept.push_back(*entry);
        }
    }
    kept.push_back(nullptr);
    return kept;
}

/// A session of its own (no terminal to ask on), /dev/null as the standard three, nothing else open, and no signal
/// blocked or ignored.
class ShellAttributes {
public:
    ShellAttributes() {
        ::posix_spawn_file_actions_init(&m_actions);
        ::posix_spawnattr_init(&m_attributes);
        for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            ::posix_spawn_file_actions_addopen(&m_actions, descriptor, "/dev/null", O_RDWR, 0);
        }
        ::posix_spawn_file_actions_addclosefrom_np(&m_actions, STDERR_FILENO + 1);
        sigset_t signals;
        ::sigemptyset(&signals);
        ::posix_spawnattr_setsigmask(&m_attributes, &signals);
        ::sigfillset(&signals);
        ::posix_spawnattr_setsigdefault(&m_attributes, &signals);
        ::posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    ShellAttributes(const ShellAttributes&) = delete;
    ShellAttributes& operator=(const ShellAttributes&) = delete;
    ~ShellAttributes() {
        ::posix_spawnattr_destroy(&m_attributes);
        ::posix_spawn_file_actions_destroy(&m_actions);
    }

    [[nodiscard]] const posix_spawn_file_actions_t* actions() const { return &m_actions; }
    [[nodiscard]] const posix_spawnattr_t* attributes() const { return &m_attributes; }

private:
    posix_spawn_file_actions_t m_actions;
    posix_spawnattr_t m_attributes;
};

/// Waits for the child, which leads a session of its own. Its status as waitpid() gives it.
int waitForShell(pid_t child, const std::atomic<bool>* cancelled) {
    constexpr long kLongestNap = 20'000'000;  // nanoseconds
    timespec nap{0, 250'000};
    bool killed = false;
    int status = 0;
    for (;;) {
        const pid_t ended = ::waitpid(child, &status, killed || cancelled == nullptr ? 0 : WNOHANG);
        if (ended == child) {
            return status;
        }
        if (ended < 0 && errno != EINTR) {
            return -1;
        }
        if (!killed && cancelled != nullptr && *cancelled) {
            ::kill(-child, SIGKILL);
            killed = true;
        } else if (ended == 0) {
            ::nanosleep(&nap, nullptr);
            nap.tv_nsec = std::min(nap.tv_nsec * 2, kLongestNap);
        }
    }
}

}  // namespace

int runShell(const String& command, unsigned long maxFileBytes, const std::atomic<bool>* cancelled) {
    // POSIX counts the shell's limit in blocks of 512 bytes.
    const String script = "ulimit -f " + toString((maxFileBytes + 511) / 512) + "; " + command;
    char shell[] = "sh";
    char option[] = "-c";
    std::vector<char> text(script.begin(), script.end());
    text.push_back('\0');
    char* const arguments[] = {shell, option, text.data(), nullptr};
    const ShellAttributes attributes;
    const std::vector<char*> environment = shellEnvironment();
    pid_t child = 0;
    if (::posix_spawn(&child, "/bin/sh", attributes.actions(), attributes.attributes(), arguments,
                      environment.data()) != 0) {
        return -1;
    }
    const int status = waitForShell(child, cancelled);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace tessel::platform
