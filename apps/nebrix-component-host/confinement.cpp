// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-component-host/confinement.h"

#include <poll.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <system_error>
#include <thread>

#include "apps/component/hostoptions.h"
#include "libs/base/numbers.h"
#include "libs/base/platform.h"

namespace tessel {

namespace {

/// As browsers do with the processes of their pages.
constexpr int kYieldThousandths = 200;
constexpr unsigned long kKiB = 1024;
constexpr unsigned kSayMilliseconds = 200;
constexpr int kLookForDebuggerMilliseconds = 100;

/// A line on standard error, of what snprintf(3) made. Works without memory.
template <std::size_t Size>
void say(const std::array<char, Size>& line) noexcept {
    std::string_view text = line.data();
    platform::writeWithin(STDERR_FILENO, text, kSayMilliseconds);
}

/// The next look comes before what is left can be filled at 4 GiB a second, which few machines do.
std::chrono::milliseconds untilNextLook(unsigned long leftKiB) noexcept {
    constexpr unsigned long kKiBPerMillisecond = 4096;
    constexpr unsigned long kShortest = 10;
    constexpr unsigned long kLongest = 500;
    return std::chrono::milliseconds(std::clamp(leftKiB / kKiBPerMillisecond, kShortest, kLongest));
}

void keepLooking(unsigned long mostKiB) noexcept {
    for (;;) {
        const unsigned long now = platform::ownMemory();
        if (now > mostKiB) {
            std::array<char, 160> line;
            std::snprintf(line.data(), line.size(),
                          "component host: the component has %lu MiB of memory, and may have %lu MiB\n", now / kKiB,
                          mostKiB / kKiB);
            say(line);
            _exit(kMemoryLimitStatus);
        }
        std::this_thread::sleep_for(untilNextLook(mostKiB - now));
    }
}

/// What the calling thread starts meanwhile takes no signal: those are for the component.
class NoSignals {
public:
    NoSignals() noexcept {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &m_before);
    }
    NoSignals(const NoSignals&) = delete;
    NoSignals& operator=(const NoSignals&) = delete;
    ~NoSignals() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }

private:
    sigset_t m_before{};
};

class Shortcomings {
public:
    void check(bool done, const char* what) {
        if (!done) {
            m_sentences.emplace_back(String(what) + ": " + platform::errorText(errno));
        }
    }
    std::vector<String> take() { return std::move(m_sentences); }

private:
    std::vector<String> m_sentences;
};

}  // namespace

HostOptions readHostOptions(int argc, const char* const* argv) noexcept {
    HostOptions options;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument == kDebuggerOption) {
            options.debugger = true;
        } else if (argument.starts_with(kMemoryLimitOption)) {
            options.memoryMiB =
                static_cast<unsigned>(std::strtoul(argv[i] + sizeof kMemoryLimitOption - 1, nullptr, 10));
        }
    }
    return options;
}

std::vector<String> confine(const String& directory, const HostOptions& options) {
    Shortcomings shortcomings;
    shortcomings.check(platform::yieldToOthers(kYieldThousandths),
                       "When memory ends, the component does not end before other programs");
    if (!directory.empty()) {
        ::setenv("TMPDIR", directory.str(), 1);
        shortcomings.check(platform::renouncePrivileges(),
                           "The host checker can start programs with rights of their own");
        shortcomings.check(platform::writeOnlyBeneath(directory.str()),
                           "The host checker is not held to its own directory");
        shortcomings.check(platform::refuseSystemCalls(), "No system call is refused to the host checker");
    }
    // The last, since it takes from this process what its user owns in /proc.
    shortcomings.check(options.debugger ? platform::admitTracers() : platform::hideFromTracers(),
                       "Who may see the component's memory cannot be set");
    return shortcomings.take();
}

bool watchMemory(unsigned mebibytes) noexcept {
    if (mebibytes == 0 || !kMemoryCanBeWatched) {
        return true;
    }
    try {
        const NoSignals signals;
        std::thread(&keepLooking, mebibytes * kKiB).detach();
        return true;
    } catch (const std::system_error&) {
        errno = EAGAIN;
        return false;
    }
}

bool waitForDebugger(int connection) noexcept {
    std::array<char, 160> line;
    std::snprintf(line.data(), line.size(), "component host: process %d waits for a debugger (gdb -p %d)\n", ::getpid(),
                  ::getpid());
    say(line);
    while (platform::tracingProcess() == 0) {
        pollfd client{connection, POLLRDHUP, 0};
        if (::poll(&client, 1, kLookForDebuggerMilliseconds) > 0) {
            return false;
        }
    }
    return true;
}

}  // namespace tessel
