// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/temporarydirectory.h"

namespace nebrix::test {

/// A program that runs beside the test in a process group of its own, with its output in files of the object.
///
/// It gets this process's environment, and nothing on standard input. At the end of the object what still runs of its
/// group is killed. Any thread may call any operation.
class ChildProcess {
public:
    using Milliseconds = std::chrono::milliseconds;
    /// Generous, so that a slow machine under a sanitizer does not fail: waits end as soon as there is something.
    static constexpr Milliseconds kPatience{30000};

    /// The first word is the program's path, or its name, sought in PATH. Raises std::runtime_error when it cannot be
    /// started.
    explicit ChildProcess(std::vector<std::string> words);
    ~ChildProcess();

    /// Sends a signal to the program, or to its whole group as a terminal does.
    void signal(int number) const;
    void signalGroup(int number) const;
    /// Waits for the end: the exit status, or 128 and the signal's number. Nothing when it still runs then.
    std::optional<int> wait(Milliseconds limit = kPatience) const;
    /// Waits until standard output (and error) so far contain the text; false when it ended or time is up before.
    [[nodiscard]] bool waitForOutput(const std::string& text) const { return waitFor(m_output, text); }
    [[nodiscard]] bool waitForErrors(const std::string& text) const { return waitFor(m_errors, text); }
    [[nodiscard]] std::string output() const { return readFile(m_output); }
    [[nodiscard]] std::string errors() const { return readFile(m_errors); }

private:
    [[nodiscard]] bool waitFor(const std::string& file, const std::string& text) const;

    TemporaryDirectory m_directory;
    std::string m_output = m_directory.path("output");
    std::string m_errors = m_directory.path("errors");
    pid_t m_pid = -1;
};

/// Runs a program to its end; a test failure is recorded when that takes too long, and it is killed.
struct Finished {
    int status = -1;
    std::string output;
    std::string errors;
};
Finished runProgram(std::vector<std::string> words);

}  // namespace nebrix::test
