// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>

namespace nebrix::gui {

/// Runs what a C library called back: whatever it raises is logged, since nothing may unwind through C.
void runLogged(const std::function<void()>& call) noexcept;

/// A call made later from the event loop, unless this object has ended by then. Of several that are wanted before
/// the loop comes round, one is made. GUI thread only; needs the application object.
class DeferredCall {
public:
    /// What `call` raises is logged; it may end this object.
    explicit DeferredCall(std::function<void()> call);

    void schedule();

private:
    struct State {
        std::function<void()> call;
        bool scheduled = false;
    };

    std::shared_ptr<State> m_state;
};

}  // namespace nebrix::gui
