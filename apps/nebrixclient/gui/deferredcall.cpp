// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/deferredcall.h"

#include <exception>
#include <utility>

#include <wx/app.h>

#include "apps/nebrixclient/gui/sites.h"
#include "libs/base/exception.h"
#include "libs/base/log.h"

namespace nebrix::gui {

void runLogged(const std::function<void()>& call) noexcept {
    try {
        call();
    } catch (const tessel::Exception& caught) {
        tessel::logCaught(caught, sites::kCallbackCatch);
    } catch (const std::exception& caught) {
        tessel::log(tessel::LogCategory::Error, "DeferredCall", "runLogged", caught.what());
    } catch (...) {
        tessel::log(tessel::LogCategory::Error, "DeferredCall", "runLogged", "unknown exception");
    }
}

DeferredCall::DeferredCall(std::function<void()> call) : m_state(std::make_shared<State>(State{std::move(call)})) {}

void DeferredCall::schedule() {
    if (m_state->scheduled || wxTheApp == nullptr) {
        return;
    }
    m_state->scheduled = true;
    wxTheApp->CallAfter([weak = std::weak_ptr(m_state)] {
        if (const auto state = weak.lock()) {
            state->scheduled = false;
            runLogged(state->call);
        }
    });
}

}  // namespace nebrix::gui
