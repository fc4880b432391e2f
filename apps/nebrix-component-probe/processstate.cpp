// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-component-probe/processstate.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "libs/base/printable.h"

namespace tessel::probe {

namespace {

using Lines = std::vector<std::string>;

std::string numbered(unsigned long number) { return std::to_string(number); }

Lines directory() {
    std::error_code error;
    const std::filesystem::path path = std::filesystem::current_path(error);
    return {error ? "none" : path.string()};
}

/// By way of /proc, since umask(2) cannot look without changing it.
Lines fileModeMask() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("Umask:")) {
            return {line.substr(line.find_first_not_of(" \t", line.find(':') + 1))};
        }
    }
    return {};
}

Lines locale() {
    return {std::setlocale(LC_ALL, nullptr), uselocale(nullptr) == LC_GLOBAL_LOCALE ? "" : "one of the thread's own"};
}

std::string signalName(int number) {
    const char* const name = ::sigabbrev_np(number);
    return name == nullptr ? "signal " + std::to_string(number) : "SIG" + std::string(name);
}

Lines signalHandlers() {
    Lines lines;
    for (int number = 1; number <= SIGRTMAX; ++number) {
        struct sigaction action {};
        if (::sigaction(number, nullptr, &action) == 0) {
            unsigned long handler = 0;
            std::memcpy(&handler, &action.sa_handler, sizeof handler);
            lines.push_back(signalName(number) + "=" + numbered(handler) + "/" + std::to_string(action.sa_flags));
        }
    }
    return lines;
}

Lines blockedSignals() {
    sigset_t blocked;
    sigemptyset(&blocked);
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    Lines lines;
    for (int number = 1; number <= SIGRTMAX; ++number) {
        lines.push_back(signalName(number) + (sigismember(&blocked, number) == 1 ? "=blocked" : "=open"));
    }
    return lines;
}

Lines environment() {
    Lines lines;
    for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
        lines.emplace_back(*variable);
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

Lines streams() {
    constexpr std::array kNames{"standard input", "standard output", "standard error"};
    Lines lines;
    for (int number = 0; number < static_cast<int>(kNames.size()); ++number) {
        struct stat status {};
        const bool open = ::fstat(number, &status) == 0;
        lines.push_back(std::string(kNames[static_cast<std::size_t>(number)]) + "=" +
                        (open ? numbered(status.st_dev) + ":" + numbered(status.st_ino) : "closed"));
    }
    return lines;
}

/// The streams lead into a file, which whoever started this process made.
Lines written() {
    std::fflush(nullptr);
    struct stat status {};
    if (::fstat(STDOUT_FILENO, &status) != 0 || !S_ISREG(status.st_mode)) {
        return {};
    }
    constexpr std::size_t kShown = 80;
    std::array<char, kShown> last{};
    const off_t from = std::max<off_t>(status.st_size - static_cast<off_t>(kShown), 0);
    const ssize_t count = ::pread(STDOUT_FILENO, last.data(), last.size(), from);
    return {numbered(static_cast<unsigned long>(status.st_size)),
            std::string(last.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)))};
}

/// What a difference is told as: the two texts; the names of the lines NAME=VALUE that differ; or the latter text.
enum class Shown { Both, Names, Latter };

struct Aspect {
    const char* name;
    Lines (*read)();
    Rule rule;
    Shown shown;
};

constexpr Aspect kAspects[] = {
    {"the working directory", &directory, Rule::Directory, Shown::Both},
    {"the file mode mask", &fileModeMask, Rule::Directory, Shown::Both},
    {"the locale", &locale, Rule::Locale, Shown::Both},
    {"what signals do", &signalHandlers, Rule::Signals, Shown::Names},
    {"the signal mask of the calling thread", &blockedSignals, Rule::Signals, Shown::Names},
    {"the environment", &environment, Rule::Environment, Shown::Names},
    {"the standard streams", &streams, Rule::Streams, Shown::Names},
    {"what is written to the standard streams", &written, Rule::Streams, Shown::Latter},
};

std::string quoted(const Lines& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += (text.empty() || line.empty() ? "" : " ") + line;
    }
    std::string out = "\"";
    appendPrintable(out, text);
    return out + "\"";
}

/// The lines of `one` that `other` has not, by their names.
void addNames(const Lines& one, const Lines& other, Lines& names) {
    for (const std::string& line : one) {
        const std::string name = line.substr(0, line.find('='));
        if (std::find(other.begin(), other.end(), line) == other.end() &&
            std::find(names.begin(), names.end(), name) == names.end()) {
            names.push_back(name);
        }
    }
}

std::string described(const Aspect& aspect, const Lines& before, const Lines& after) {
    const std::string name = std::string(aspect.name) + ": ";
    if (aspect.shown == Shown::Both) {
        return name + quoted(before) + " became " + quoted(after);
    }
    if (aspect.shown == Shown::Latter) {
        return name + quoted({after.empty() ? "" : after.back()});
    }
    constexpr std::size_t kMost = 4;
    Lines names;
    addNames(before, after, names);
    addNames(after, before, names);
    const bool more = names.size() > kMost;
    names.resize(std::min(names.size(), kMost));
    return name + quoted(names) + (more ? " and more" : "");
}

}  // namespace

ProcessState ProcessState::now() {
    ProcessState state;
    for (const Aspect& aspect : kAspects) {
        state.m_aspects.push_back(aspect.read());
    }
    return state;
}

void ProcessState::compare(const ProcessState& before, const Tell& tell) const {
    for (std::size_t i = 0; i < m_aspects.size(); ++i) {
        if (m_aspects[i] != before.m_aspects[i]) {
            tell(kAspects[i].rule, described(kAspects[i], before.m_aspects[i], m_aspects[i]));
        }
    }
}

std::size_t countOwn(const char* directory) {
    std::error_code error;
    const std::filesystem::directory_iterator entries("/proc/self/" + std::string(directory), error);
    return error ? 0 : static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

}  // namespace tessel::probe
