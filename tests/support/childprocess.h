#pragma once

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace nebrix::test {

/// A program that runs beside the test in a process group of its own, with its output captured as it comes.
///
/// It gets this process's environment with the given changes, and nothing on standard input. At the end of the object
/// what still runs of its group is killed. Any thread may call any operation.
class ChildProcess {
public:
    using Milliseconds = std::chrono::milliseconds;
    /// Generous, so that a slow machine under a sanitizer does not fail: waits end as soon as there is something.
    static constexpr Milliseconds kPatience{30000};

    struct Options {
        /// Set, or taken away when empty.
        std::map<std::string, std::string> environment = {};
        std::string directory = {};
    };

    /// The first word is the program's path (or its name, sought in PATH). Raises std::runtime_error when it cannot be
    /// started.
    explicit ChildProcess(std::vector<std::string> words) : ChildProcess(std::move(words), Options()) {}
    ChildProcess(std::vector<std::string> words, const Options& options);
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess();

    [[nodiscard]] pid_t pid() const noexcept { return m_pid; }
    /// Sends a signal to the program, or to its whole group as a terminal does; nothing once it ended.
    void signal(int number);
    void signalGroup(int number);
    /// Waits for the end: the exit status, or 128 and the signal's number. Nothing when it still runs then.
    std::optional<int> wait(Milliseconds limit = kPatience);
    /// Waits until standard output (and error) so far contain the text; false when it ended or time is up before.
    bool waitForOutput(const std::string& text, Milliseconds limit = kPatience);
    bool waitForErrors(const std::string& text, Milliseconds limit = kPatience);
    [[nodiscard]] std::string output() const;
    [[nodiscard]] std::string errors() const;

private:
    /// The thread: moves output into the strings until the program ends.
    void watch();
    bool waitFor(const std::string& stream, const std::string& text, Milliseconds limit);

    pid_t m_pid = -1;
    int m_process = -1;
    int m_outputPipe = -1;
    int m_errorPipe = -1;

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    // Guarded by m_mutex.
    std::string m_output;
    std::string m_errors;
    std::optional<int> m_status;

    std::thread m_watcher;
};

/// Runs a program to its end within the limit; a test failure is recorded when it takes longer, and it is killed.
struct Finished {
    int status = -1;
    std::string output;
    std::string errors;
};
Finished runProgram(std::vector<std::string> words, const ChildProcess::Options& options = {},
                    ChildProcess::Milliseconds limit = ChildProcess::kPatience);

}  // namespace nebrix::test
