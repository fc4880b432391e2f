// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <string_view>
#include <thread>
#include <vector>

#include "libs/base/platform.h"

namespace tessel::platform {

namespace {

constexpr std::array<std::string_view, 5> kDroppedVariables = {
    "PATH=", "UNZIP=", "UNZIPOPT=", "ZIPINFO=", "ZIPINFOOPT="};
constexpr int kNotRun = 127;
constexpr int kKilled = 128;

/// The environment without what would add options to unzip or choose another one.
std::vector<char*> shellEnvironment() {
    static char path[] = "PATH=/usr/bin:/bin";
    std::vector<char*> kept;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        const std::string_view text = *entry;
        if (std::ranges::none_of(kDroppedVariables, [&](std::string_view name) { return text.starts_with(name); })) {
            kept.push_back(*entry);
        }
    }
    kept.push_back(path);
    kept.push_back(nullptr);
    return kept;
}

/// No signal is ignored, handled or blocked any more.
void resetSignals() noexcept {
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    for (int number = 1; number < NSIG; ++number) {
        ::sigaction(number, &standard, nullptr);
    }
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

bool limitFiles(rlim_t bytes) noexcept {
    rlimit limit{};
    if (::getrlimit(RLIMIT_FSIZE, &limit) != 0) {
        return false;
    }
    limit.rlim_cur = limit.rlim_max = std::min(bytes, limit.rlim_max);
    return ::setrlimit(RLIMIT_FSIZE, &limit) == 0;
}

/// The child's way from fork() to the shell. Other threads may have held any lock at the fork, so only what is safe
/// in a signal handler is called.
[[noreturn]] void becomeShell(pid_t parent, rlim_t maxFileBytes, char* const* arguments, char* const* environment) {
    // The parent may have ended before it could be asked to take this process along.
    bool ready = ::prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && ::getppid() == parent;
    resetSignals();
    ready = ready && ::setsid() >= 0;
    const int nothing = ::open("/dev/null", O_RDWR);
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        ready = ready && ::dup2(nothing, descriptor) == descriptor;
    }
    ::closefrom(STDERR_FILENO + 1);
    if (ready && limitFiles(maxFileBytes)) {
        ::execve("/bin/sh", arguments, environment);
    }
    ::_exit(kNotRun);
}

pid_t startShell(rlim_t maxFileBytes, char* const* arguments, char* const* environment) {
    // No handler of this program may run in the child.
    sigset_t all;
    sigset_t before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    const pid_t parent = ::getpid();
    const pid_t child = ::fork();
    if (child == 0) {
        becomeShell(parent, maxFileBytes, arguments, environment);
    }
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return child;
}

/// Waits for the child, which leads a session of its own or is about to. Its status as waitpid() gives it.
int waitForShell(pid_t child, const std::function<bool()>& goOn) {
    using Clock = std::chrono::steady_clock;
    constexpr Clock::duration kShortestNap = std::chrono::microseconds(250);
    constexpr Clock::duration kLongestNap = std::chrono::milliseconds(20);
    const Clock::time_point begin = Clock::now();
    for (int options = WNOHANG;;) {
        if (options != 0 && goOn && !goOn()) {
            if (::kill(-child, SIGKILL) != 0) {
                ::kill(child, SIGKILL);  // it has no session yet
            }
            options = 0;
        }
        int status = 0;
        const pid_t ended = ::waitpid(child, &status, options);
        if (ended == child) {
            return status;
        }
        if (ended < 0 && errno != EINTR) {
            return -1;
        }
        // A short command is not kept waiting for its own length, nor a long one watched all the time.
        std::this_thread::sleep_for(std::clamp((Clock::now() - begin) / 8, kShortestNap, kLongestNap));
    }
}

}  // namespace

int runShell(const String& command, std::uint64_t maxFileBytes, const std::function<bool()>& goOn) {
    char shell[] = "sh";
    char option[] = "-c";
    std::vector<char> text(command.begin(), command.end());
    text.push_back('\0');
    char* const arguments[] = {shell, option, text.data(), nullptr};
    const std::vector<char*> environment = shellEnvironment();
    keepEndedChildren();
    const pid_t child = startShell(maxFileBytes, arguments, environment.data());
    const int status = child < 0 ? -1 : waitForShell(child, goOn);
    if (status < 0) {
        return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : kKilled + WTERMSIG(status);
}

}  // namespace tessel::platform
