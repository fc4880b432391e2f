#pragma once

#include <exception>

#include "apps/nebrixclient/account.h"

namespace tessel {

/// Calls a component's entry and lets the account know which one it was when an exception comes out of it, which the
/// contract forbids. The exception goes on.
template <class Call>
auto callComponent(SessionAccount& account, const char* entry, Call call) {
    SessionEnd end{.kind = EndKind::ComponentFailed, .cause = EndCause::Raised, .key = entry};
    try {
        return call();
    } catch (const std::exception& raised) {
        end.text = String::copy(raised.what());
        account.record(end);
        throw;
    } catch (...) {
        account.record(end);
        throw;
    }
}

}  // namespace tessel
