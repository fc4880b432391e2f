// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <wx/event.h>

#include <functional>
#include <memory>

#include "libs/base/thread.h"

namespace nebrix::gui {

/// Brings calls from other threads to the GUI thread for as long as it lives. Made and destroyed on the GUI thread.
class GuiCalls {
public:
    /// The other threads' end: a value, cheap to copy, that may outlive the GuiCalls.
    class Sender {
    public:
        /// Queues the call for the event loop; drops it when the GuiCalls is gone by now or by then. Any thread.
        void post(const std::function<void()>& call) const;
        /// Whether a post may still arrive. Any thread.
        [[nodiscard]] bool connected() const;

    private:
        friend class GuiCalls;
        struct Link;
        explicit Sender(std::shared_ptr<Link> link) : m_link(std::move(link)) {}
        std::shared_ptr<Link> m_link;
    };

    GuiCalls();
    GuiCalls(const GuiCalls&) = delete;
    GuiCalls& operator=(const GuiCalls&) = delete;
    /// No call follows, not even one that is already queued.
    ~GuiCalls();

    [[nodiscard]] Sender sender() const { return Sender(m_link); }

private:
    wxEvtHandler m_handler;
    const std::shared_ptr<Sender::Link> m_link;
};

/// Runs tasks one after the other, in the order of their posting, on a thread named "files", so that the GUI thread
/// never waits for a disk. What a task raises is logged. Every operation may be called on any thread.
class BackgroundWorker final : private tessel::Thread {
public:
    using Task = std::function<void()>;

    BackgroundWorker();
    /// Runs what is queued, then ends the thread; call finish() first where that may take too long.
    ~BackgroundWorker() override;

    void post(Task task);
    /// Waits until nothing is queued or running, at most so long; whether it is so. At once true when called by a task.
    bool finish(unsigned milliseconds);

private:
    void main() override;
    static void runTask(const Task& task) noexcept;

    struct Queue;
    const std::unique_ptr<Queue> m_queue;
};

}  // namespace nebrix::gui
