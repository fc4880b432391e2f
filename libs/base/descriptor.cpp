// SPDX-License-Identifier: Apache-2.0
#include "libs/base/descriptor.h"

#include <unistd.h>

namespace tessel {

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    if (this != &other) {
        close();
        m_descriptor = std::exchange(other.m_descriptor, -1);
    }
    return *this;
}

void Descriptor::close() noexcept {
    if (m_descriptor >= 0) {
        ::close(std::exchange(m_descriptor, -1));
    }
}

}  // namespace tessel
