// SPDX-License-Identifier: Apache-2.0
#include "libs/base/recycle.h"

#include <memory>
#include <utility>
#include <vector>

namespace tessel::gc {

namespace {

using Pending = std::vector<std::unique_ptr<const Object>>;

// The list of the outermost disposal on this thread, null outside one. A plain pointer, so that it stays usable
// while the thread's other local objects are destroyed.
thread_local constinit Pending* pendingHere = nullptr;

}  // namespace

void Recycle::dispose(const Object* object) {
    std::unique_ptr<const Object> owned(object);
    if (pendingHere != nullptr) {
        pendingHere->push_back(std::move(owned));
        return;
    }
    Pending waiting;
    pendingHere = &waiting;
    owned.reset();
    while (!waiting.empty()) {
        for (auto& next : std::exchange(waiting, {})) {
            next.reset();
        }
    }
    pendingHere = nullptr;
}

}  // namespace tessel::gc
