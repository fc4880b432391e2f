// SPDX-License-Identifier: Apache-2.0
#include "libs/base/condition.h"

namespace tessel {

bool Condition::wait(UniqueLock& lock, unsigned milliseconds) {
    return m_condition.wait_for(lock, std::chrono::milliseconds(milliseconds)) == std::cv_status::no_timeout;
}

}  // namespace tessel
