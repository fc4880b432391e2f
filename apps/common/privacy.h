// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace tessel::privacy {

/// Called first by programs that hold passwords and session cookies: no other process of the same user, a component
/// above all, sees into this one's memory from then on (platform::hideFromTracers()). There is no core dump either, and
/// only root attaches a debugger. In builds other than the release it does nothing.
void hideMemory() noexcept;

}  // namespace tessel::privacy
