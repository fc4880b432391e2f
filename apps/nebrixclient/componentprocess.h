// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>

#include "apps/nebrixclient/account.h"
#include "apps/nebrixclient/componentanswer.h"
#include "apps/nebrixclient/componentthreads.h"
#include "libs/base/platform.h"

namespace tessel {

/// A component's process ended, or did not answer and was ended, before its work was done. The account knows how.
TESSEL_EXCEPTION(EComponentProcess, Exception);

/// The program nebrix-component-host, started for one session's component, and the calls into it.
///
/// The process is hostile once a component is loaded: what it sends is bounded, and can do no more than fail the call.
/// It dies with this object and with the client, however that ends.
///
/// Threads: made, called and destroyed on the driver's thread; hurry() on any. Two threads of its own: "component"
/// starts the process, hears what the component prints and how it ends, "component-files" fetches files for it.
class ComponentProcess {
public:
    using Milliseconds = std::chrono::milliseconds;

    struct Setup {
        /// Fetches a file for the component; whether it did. On the thread "component-files".
        std::function<bool(const char* url, const char* path)> download;
        /// Ends a download that runs, and keeps others from beginning until this object is gone.
        std::function<void()> cancelDownloads;
        /// The process ended, and nobody had asked for it. On the thread "component", once.
        std::function<void()> ended;
        /// An entry has not returned for kSilence or kLongSilence, or it did now after all. On the driver's thread.
        std::function<void(bool silent)> silent;
        /// MiB of memory that the component may have; 0 for any.
        unsigned memoryLimit = 0;
        /// Whether the process waits for a debugger before it loads the component, and keeps no times.
        bool debugger = false;
    };

    /// After so long an entry counts as silent.
    static constexpr Milliseconds kSilence{3000};
    /// The same for an entry that may take its time: as long as a session waits for another one's download.
    static constexpr Milliseconds kLongSilence{30000};
    /// How long an entry may take to return once the session is to end.
    static constexpr Milliseconds kHurry{1200};
    /// How long the component has for its stop.
    static constexpr Milliseconds kStop{5000};

    /// Has the process started and returns at once. What keeps it from starting is raised by the first call. Raises
    /// EThread and EChannel, where the system gives too little.
    ComponentProcess(Setup setup, SessionAccount& account);
    ComponentProcess(const ComponentProcess&) = delete;
    ComponentProcess& operator=(const ComponentProcess&) = delete;
    /// Ends the process and waits for it: at once unless a component was loaded, which has a second to let go.
    ~ComponentProcess();

    /// Has the process make itself ready for a plug-in (no directory), or for a host checker, which may write to that
    /// directory alone. Once, before a component is loaded; does not wait. What goes wrong the next call tells.
    void prepare(const String& directory = {});
    /// How an entry is waited for: as most are; as one that may take its time; as the stop, which must return within
    /// kStop, whatever hurry() asks for.
    enum class Patience { Usual, Long, Stop };
    /// Calls an entry, whose name is what account and log say, and waits for what it returns. Its log lines are logged
    /// before. Raises EComponentProcess, what kept a component from being loaded (EModuleLoader, EPluginDllInstance,
    /// EFile), and ComponentException for what left an entry.
    using Result = ComponentAnswer;
    Result call(const char* entry, const MessageWriter& message, Patience patience = Patience::Usual,
                int attached = -1);
    /// The session is to end: the entry that runs must return within kHurry, and so must each that follows but the
    /// stop. Any thread.
    void hurry() noexcept;
    /// Whether it was asked to load a component. Any thread.
    [[nodiscard]] bool loaded() const noexcept { return m_loaded; }
    /// Whether the process is no more.
    [[nodiscard]] bool gone() const noexcept { return m_end.has_value(); }

    /// Where the program lies when it is not where it was installed; for tests, before any session.
    static void useProgram(const String& path);

private:
    using Clock = std::chrono::steady_clock;

    void start();
    void wait(int descriptor, short events);
    [[nodiscard]] Clock::time_point silentFrom() const;
    [[nodiscard]] Clock::time_point nextTime() const;
    void keepTimes();
    [[nodiscard]] const platform::StartedProcess& process() const noexcept { return m_watch->process(); }
    Result converse(const MessageWriter& message, int attached);
    [[noreturn]] void fail();
    [[noreturn]] void spokeWrongly(const Exception& caught);
    void reap();

    const Setup m_setup;
    SessionAccount& m_account;
    const String m_program;
    Descriptor m_hurry;                      // hurry() ends this connection,
    Descriptor m_hurried;                    // whose other end becomes readable by that
    std::atomic<Clock::rep> m_hurryTime{0};  // 0 before hurry()
    std::optional<Channel> m_channel;
    // The call that runs.
    String m_entry;
    Clock::time_point m_began;
    Patience m_patience = Patience::Usual;
    bool m_silent = false;
    bool m_ready = false;               // it has said so
    std::atomic<bool> m_loaded{false};  // a component may have threads of its own
    bool m_abandoned = false;
    std::optional<platform::ProcessEnd> m_end;
    std::unique_ptr<ComponentWatch> m_watch;
    std::unique_ptr<ComponentFiles> m_files;
};

}  // namespace tessel
