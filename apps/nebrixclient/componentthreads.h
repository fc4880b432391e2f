#pragma once

#include <atomic>
#include <functional>

#include "apps/component/channel.h"
#include "libs/base/thread.h"

namespace tessel {

/// The thread "component": logs what a component prints, line by line, and hears when its process ends.
class ComponentWatch final : private Thread {
public:
    /// Bytes of a component's output that are logged in one session; what is beyond is taken and forgotten.
    static constexpr unsigned kMostOutput = 1024 * 1024;

    /// `output` gives datagrams; `processEnded`, which must outlive this object, becomes readable at the end. `ended`
    /// is called then, unless expectEnd() came first. Raises EThread.
    ComponentWatch(Descriptor output, int processEnded, std::function<void()> ended);
    ComponentWatch(const ComponentWatch&) = delete;
    ComponentWatch& operator=(const ComponentWatch&) = delete;
    ~ComponentWatch() override;

    /// Any thread.
    void expectEnd() noexcept { m_expected = true; }

private:
    void main() override;
    bool takeOutput();
    void logLines(std::string_view printed);

    const Descriptor m_output;
    const int m_processEnded;
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
