// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-sign/author/trialclient.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string_view>

#include "apps/nebrix-sign/files.h"
#include "libs/base/descriptor.h"
#include "libs/base/freewith.h"
#include "libs/base/platform.h"

namespace tessel::sign {

namespace {

constexpr int kSignalled = 128;
/// Seconds that a client has to tell its version.
constexpr unsigned kPatience = 10;
constexpr const char* kClientName = "nebrixclient-cli";
constexpr const char* kSetpriv = "/usr/bin/setpriv";
constexpr const char* kEnv = "/usr/bin/env";

bool isProgram(const std::string& path) {
    std::error_code unknown;
    return std::filesystem::is_regular_file(path, unknown) && ::access(path.c_str(), X_OK) == 0;
}

/// The program's path, by PATH; empty when it is nowhere there.
std::string inPath(const std::string& name) {
    const char* const path = std::getenv("PATH");
    std::istringstream folders(path == nullptr ? "" : path);
    for (std::string folder; std::getline(folders, folder, ':');) {
        const bool isAbsolute = folder.starts_with('/');
        folder.append("/").append(name);
        if (isAbsolute && isProgram(folder)) {
            return folder;
        }
    }
    return {};
}

bool hasEnded(const platform::StartedProcess& process) {
    pollfd look{.fd = process.ended.get(), .events = POLLIN, .revents = 0};
    return ::poll(&look, 1, 0) > 0;
}

platform::StartedProcess start(const std::string& client, const std::vector<std::string>& arguments, int input,
                               int output, const std::string& home) {
    // By env(1), for the home directory, and so that no proxy is asked for the way to this machine. By setpriv(1), so
    // that no session goes on when this process is killed.
    const bool tied = isProgram(kSetpriv);
    platform::ProcessStart plan{.program = tied ? kSetpriv : kEnv, .input = input, .output = output};
    if (tied) {
        plan.arguments = {"--pdeathsig", "TERM", kEnv};
    }
    plan.arguments.insert(plan.arguments.end(), {"HOME=" + home, "no_proxy=127.0.0.1", "NO_PROXY=127.0.0.1", client});
    plan.arguments.insert(plan.arguments.end(), arguments.begin(), arguments.end());
    platform::StartedProcess started = platform::startProcess(plan);
    if (started.id < 0) {
        raise<ESign>(String::copy("cannot start " + client + ": ") + platform::errorText(started.systemError),
                     sites::kNoClient);
    }
    return started;
}

/// Reads as this text, which is short.
Descriptor holding(const std::string& text) {
    std::array<int, 2> ends{-1, -1};
    const bool made = ::pipe2(ends.data(), O_CLOEXEC) == 0;
    Descriptor reading(ends[0]);
    const Descriptor writing(ends[1]);
    if (!made || ::write(writing.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        raise<ESign>("cannot hand the client its link: " + platform::errorText(errno), sites::kNoClient);
    }
    return reading;
}

/// What the process ends with: its status, or 128 and a signal. It is passed the signals that come, and told to end
/// after so many seconds, if that is not 0.
int waitForEnd(const HeldSignals& signals, const platform::StartedProcess& process, unsigned seconds) {
    while (!hasEnded(process)) {
        const int signal = signals.wait(seconds);
        if (signal != SIGCHLD) {
            ::kill(process.id, signal == 0 ? SIGTERM : signal);
            seconds = 0;
        }
    }
    const platform::ProcessEnd end = platform::reapProcess(process.id);
    return end.signal != 0 ? kSignalled + end.signal : end.status;
}

}  // namespace

HeldSignals::HeldSignals() {
    sigemptyset(&m_held);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGCHLD}) {
        sigaddset(&m_held, signal);
    }
    ::pthread_sigmask(SIG_BLOCK, &m_held, &m_former);
}

HeldSignals::~HeldSignals() { ::pthread_sigmask(SIG_SETMASK, &m_former, nullptr); }

int HeldSignals::wait(unsigned seconds) const {
    timespec limit{};
    limit.tv_sec = static_cast<std::time_t>(seconds);
    for (;;) {
        const int signal = seconds == 0 ? ::sigwaitinfo(&m_held, nullptr) : ::sigtimedwait(&m_held, nullptr, &limit);
        if (signal > 0 || errno == EAGAIN) {
            return signal > 0 ? signal : 0;
        }
    }
}

std::string findClient(const std::string& named) {
    if (!named.empty()) {
        const bool isPath = named.find('/') != std::string::npos;
        std::string found = isPath ? named : inPath(named);
        if (!isProgram(found)) {
            raise<ESign>(String::copy("there is no program " + named + (isPath ? "" : " in PATH")), sites::kNoClient);
        }
        return found;
    }
    const std::string beside = std::string(platform::programDirectory().view()) + "/" + kClientName;
    std::string found = isProgram(beside) ? beside : inPath(kClientName);
    if (found.empty()) {
        raise<ESign>("there is no nebrixclient-cli beside this program or in PATH: install it, or name one by --client",
                     sites::kNoClient);
    }
    return found;
}

bool trustsDevelopmentKey(const HeldSignals& signals, const std::string& client) {
    const std::unique_ptr<std::FILE, FreeWith<std::fclose>> answer(std::tmpfile());
    if (answer == nullptr) {
        raise<ESign>("cannot make a temporary file", sites::kCannotWrite);
    }
    const int status =
        waitForEnd(signals, start(client, {"--version"}, -1, ::fileno(answer.get()), "/nonexistent"), kPatience);
    const std::string said = readWhole("/proc/self/fd/" + std::to_string(::fileno(answer.get())));
    if (status != 0 || !said.starts_with("nebrixclient")) {
        raise<ESign>(String::copy(client + " is no client, by what it answers to --version"), sites::kNoClient);
    }
    return said.find("DEVELOPMENT key") != std::string::npos;
}

int runClient(const HeldSignals& signals, const std::string& client, std::vector<std::string> arguments,
              const std::string& link, const std::string& home, unsigned seconds) {
    arguments.emplace_back("-");
    const Descriptor input = holding(link + "\n");
    return waitForEnd(signals, start(client, arguments, input.get(), STDOUT_FILENO, home), seconds);
}

}  // namespace tessel::sign
