// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <atomic>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "apps/component/channel.h"
#include "libs/base/platform.h"
#include "libs/base/thread.h"

namespace tessel {

/// Logs a component's text line by line, each with where it came from ("output").
void logComponentLines(const char* source, std::string_view text);

/// The thread "component": starts a component's process, logs what it prints, line by line, and hears when it ends.
/// A process that dies with the thread that started it dies with this one.
class ComponentWatch final : private Thread {
public:
    /// Bytes of a component's output that are logged in one session; what is beyond is taken and forgotten.
    static constexpr unsigned kMostOutput = 1024 * 1024;

    /// What is started, and the ends of connections that it gets, which are closed here once it has them.
    struct Host {
        String program;
        std::vector<std::string> arguments;
        Descriptor output;
        std::array<Descriptor, 2> connections;
    };

    /// Returns at once. `output` gives datagrams. `ended` is called at the process's end, unless expectEnd() came
    /// first. Raises EThread, and nothing was started then.
    ComponentWatch(Host host, Descriptor output, std::function<void()> ended);
    ComponentWatch(const ComponentWatch&) = delete;
    ComponentWatch& operator=(const ComponentWatch&) = delete;
    ~ComponentWatch() override;

    /// Waits until it is known whether there is a process, which is the caller's to reap before this object goes.
    [[nodiscard]] const platform::StartedProcess& process() const noexcept;
    /// Any thread.
    void expectEnd() noexcept { m_expected = true; }

private:
    void main() override;
    void start() noexcept;
    bool takeOutput();
    void logLines(std::string_view printed);

    Host m_host;                         // the thread's own
    platform::StartedProcess m_process;  // the thread's until m_started, then constant
    std::atomic<bool> m_started{false};
    const Descriptor m_output;
    const std::function<void()> m_ended;
    std::atomic<bool> m_expected{false};
    std::atomic<bool> m_closing{false};
    unsigned m_printed = 0;  // the thread's own
};

/// The thread "component-files": fetches what a component asks for, one file after the other.
class ComponentFiles final : private Thread {
public:
    using Download = std::function<bool(const char* url, const char* path)>;

    /// Raises EThread.
    ComponentFiles(Descriptor requests, Download download);
    ComponentFiles(const ComponentFiles&) = delete;
    ComponentFiles& operator=(const ComponentFiles&) = delete;
    /// Waits for the file that is being fetched.
    ~ComponentFiles() override;

private:
    void main() override;

    Channel m_channel;
    const Download m_download;
};

}  // namespace tessel
