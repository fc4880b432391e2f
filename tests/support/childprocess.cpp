#include "tests/support/childprocess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace nebrix::test {

namespace {

struct Pipe {
    std::array<int, 2> ends{-1, -1};

    Pipe() {
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
            throw std::runtime_error("pipe2");
        }
        ::fcntl(ends[0], F_SETFL, O_NONBLOCK);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    ~Pipe() {
        ::close(ends[1]);
        if (ends[0] >= 0) {
            ::close(ends[0]);
        }
    }
    int takeReading() { return std::exchange(ends[0], -1); }
};

/// The environment of the child as "NAME=value" texts.
std::vector<std::string> environmentOf(const ChildProcess::Options& options) {
    std::vector<std::string> result;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string_view text = *entry;
        if (!options.environment.contains(std::string(text.substr(0, text.find('='))))) {
            result.emplace_back(text);
        }
    }
    for (const auto& [name, value] : options.environment) {
        if (!value.empty()) {
            result.emplace_back(name).append("=").append(value);
        }
    }
    return result;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

pid_t spawn(std::vector<std::string>& words, const ChildProcess::Options& options, int output, int errors) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, output, 1);
    posix_spawn_file_actions_adddup2(&actions, errors, 2);
    if (!options.directory.empty()) {
        posix_spawn_file_actions_addchdir_np(&actions, options.directory.c_str());
    }
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);

    std::vector<std::string> environment = environmentOf(options);
    pid_t pid = -1;
    const int failed = ::posix_spawnp(&pid, words.front().c_str(), &actions, &attributes, pointersTo(words).data(),
                                      pointersTo(environment).data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (failed != 0) {
        throw std::runtime_error("cannot start " + words.front());
    }
    return pid;
}

/// Appends what a pipe holds; false at its end.
bool drain(int pipe, std::string& text) {
    std::array<char, 4096> buffer;
    for (;;) {
        const ssize_t got = ::read(pipe, buffer.data(), buffer.size());
        if (got > 0) {
            text.append(buffer.data(), static_cast<std::size_t>(got));
        } else if (got == 0 || errno != EINTR) {
            return got != 0 && errno == EAGAIN;
        }
    }
}

}  // namespace

ChildProcess::ChildProcess(std::vector<std::string> words, const Options& options) {
    Pipe output;
    Pipe errors;
    m_pid = spawn(words, options, output.ends[1], errors.ends[1]);
    // By its number: the C library's header of 2.36 declares the function without C linkage.
    m_process = static_cast<int>(::syscall(SYS_pidfd_open, m_pid, 0));
    m_outputPipe = output.takeReading();
    m_errorPipe = errors.takeReading();
    m_watcher = std::thread([this] { watch(); });
}

ChildProcess::~ChildProcess() {
    ::kill(-m_pid, SIGKILL);
    m_watcher.join();
    ::close(m_process);
    ::close(m_outputPipe);
    ::close(m_errorPipe);
}

void ChildProcess::watch() {
    std::array<pollfd, 3> sources{{{m_process, POLLIN, 0}, {m_outputPipe, POLLIN, 0}, {m_errorPipe, POLLIN, 0}}};
    bool ended = false;
    while (!ended) {
        if (::poll(sources.data(), sources.size(), -1) < 0) {
            continue;
        }
        ended = (sources[0].revents & POLLIN) != 0;
        const std::lock_guard lock(m_mutex);
        if (!drain(m_outputPipe, m_output)) {
            sources[1].fd = -1;
        }
        if (!drain(m_errorPipe, m_errors)) {
            sources[2].fd = -1;
        }
        if (ended) {
            int status = 0;
            ::waitpid(m_pid, &status, 0);
            m_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        m_changed.notify_all();
    }
}

void ChildProcess::signal(int number) {
    const std::lock_guard lock(m_mutex);
    if (!m_status) {
        ::kill(m_pid, number);
    }
}

void ChildProcess::signalGroup(int number) {
    const std::lock_guard lock(m_mutex);
    if (!m_status) {
        ::kill(-m_pid, number);
    }
}

std::optional<int> ChildProcess::wait(Milliseconds limit) {
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, limit, [&] { return m_status.has_value(); });
    return m_status;
}

bool ChildProcess::waitFor(const std::string& stream, const std::string& text, Milliseconds limit) {
    std::unique_lock lock(m_mutex);
    const auto arrived = [&] { return stream.find(text) != std::string::npos; };
    m_changed.wait_for(lock, limit, [&] { return m_status.has_value() || arrived(); });
    return arrived();
}

bool ChildProcess::waitForOutput(const std::string& text, Milliseconds limit) { return waitFor(m_output, text, limit); }

bool ChildProcess::waitForErrors(const std::string& text, Milliseconds limit) { return waitFor(m_errors, text, limit); }

std::string ChildProcess::output() const {
    const std::lock_guard lock(m_mutex);
    return m_output;
}

std::string ChildProcess::errors() const {
    const std::lock_guard lock(m_mutex);
    return m_errors;
}

Finished runProgram(std::vector<std::string> words, const ChildProcess::Options& options,
                    ChildProcess::Milliseconds limit) {
    const std::string program = words.front();
    ChildProcess child(std::move(words), options);
    const std::optional<int> status = child.wait(limit);
    EXPECT_TRUE(status.has_value()) << program << " still runs; output so far:\n" << child.output() << child.errors();
    return {status.value_or(-1), child.output(), child.errors()};
}

}  // namespace nebrix::test
