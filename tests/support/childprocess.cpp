// SPDX-License-Identifier: Apache-2.0
#include "tests/support/childprocess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>
#include <thread>

namespace nebrix::test {

ChildProcess::ChildProcess(std::vector<std::string> words) {
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
    const int failed = ::posix_spawnp(&m_pid, pointers.front(), &actions, &attributes, pointers.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (failed != 0) {
        throw std::runtime_error("cannot start " + words.front());
    }
}

ChildProcess::~ChildProcess() {
    signalGroup(SIGKILL);
    ::waitpid(m_pid, nullptr, 0);
}

void ChildProcess::signal(int number) const { ::kill(m_pid, number); }
void ChildProcess::signalGroup(int number) const { ::kill(-m_pid, number); }

std::optional<int> ChildProcess::wait(Milliseconds limit) const {
    const auto end = std::chrono::steady_clock::now() + limit;
    for (siginfo_t info{};; std::this_thread::sleep_for(Milliseconds(1))) {
        // Only looked at: until the end of the object the number belongs to no other process.
        ::waitid(P_PID, static_cast<id_t>(m_pid), &info, WEXITED | WNOHANG | WNOWAIT);
        if (info.si_pid != 0) {
            return info.si_code == CLD_EXITED ? info.si_status : 128 + info.si_status;
        }
        if (std::chrono::steady_clock::now() >= end) {
            return std::nullopt;
        }
    }
}

bool ChildProcess::waitFor(const std::string& file, const std::string& text) const {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    // What it wrote at its very end counts, too.
    for (bool last = false; readFile(file).find(text) == std::string::npos;) {
        if (last) {
            return false;
        }
        last = wait(Milliseconds(1)).has_value() || std::chrono::steady_clock::now() >= end;
    }
    return true;
}

Finished runProgram(std::vector<std::string> words) {
    const std::string program = words.front();
    const ChildProcess child(std::move(words));
    const std::optional<int> status = child.wait();
    EXPECT_TRUE(status.has_value()) << program << " still runs; output so far:\n" << child.output() << child.errors();
    return {status.value_or(-1), child.output(), child.errors()};
}

}  // namespace nebrix::test
