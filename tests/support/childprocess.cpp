#include "tests/support/childprocess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <stdexcept>
#include <thread>

namespace nebrix::test {

namespace {

/// Asks again and again until the answer is yes or time is up.
template <class Question>
void await(ChildProcess::Milliseconds limit, Question question) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!question() && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(ChildProcess::Milliseconds(1));
    }
}

}  // namespace

ChildProcess::ChildProcess(std::vector<std::string> words, const Options& options) {
    // env(1) changes the environment and becomes the program.
    words.insert(words.begin(), "env");
    for (const auto& [name, value] : options.environment) {
        words.insert(words.begin() + 1, value.empty() ? "--unset=" + name : name + "=" + value);
    }
    // Its options come first.
    std::stable_partition(words.begin() + 1, words.begin() + 1 + std::ssize(options.environment),
                          [](const std::string& word) { return word.starts_with("--unset="); });
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, m_output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, m_errors.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    const int failed = ::posix_spawnp(&m_pid, "env", &actions, &attributes, pointers.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (failed != 0) {
        throw std::runtime_error("cannot start env");
    }
}

ChildProcess::~ChildProcess() {
    signalGroup(SIGKILL);
    ::waitpid(m_pid, nullptr, 0);
}

void ChildProcess::signal(int number) const { ::kill(m_pid, number); }
void ChildProcess::signalGroup(int number) const { ::kill(-m_pid, number); }

std::optional<int> ChildProcess::status() const {
    // Only looked at: until the end of the object the number belongs to no other process.
    siginfo_t info{};
    ::waitid(P_PID, static_cast<id_t>(m_pid), &info, WEXITED | WNOHANG | WNOWAIT);
    if (info.si_pid == 0) {
        return std::nullopt;
    }
    return info.si_code == CLD_EXITED ? info.si_status : 128 + info.si_status;
}

std::optional<int> ChildProcess::wait(Milliseconds limit) const {
    await(limit, [&] { return status().has_value(); });
    return status();
}

bool ChildProcess::waitFor(const std::string& file, const std::string& text) const {
    bool arrived = false;
    await(kPatience, [&] {
        const bool ended = status().has_value();
        arrived = readFile(file).find(text) != std::string::npos;
        return arrived || ended;
    });
    return arrived;
}

Finished runProgram(std::vector<std::string> words, const ChildProcess::Options& options) {
    const std::string program = words.front();
    const ChildProcess child(std::move(words), options);
    const std::optional<int> status = child.wait();
    EXPECT_TRUE(status.has_value()) << program << " still runs; output so far:\n" << child.output() << child.errors();
    return {status.value_or(-1), child.output(), child.errors()};
}

}  // namespace nebrix::test
