// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utility>

namespace tessel {

/// Owns a descriptor of the system, or none. A small value that moves; used by one thread at a time.
class Descriptor {
public:
    Descriptor() noexcept = default;
    /// Takes the descriptor over; a negative one is none.
    explicit Descriptor(int descriptor) noexcept : m_descriptor(descriptor < 0 ? -1 : descriptor) {}
    Descriptor(Descriptor&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept;
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { close(); }

    /// -1 for none.
    [[nodiscard]] int get() const noexcept { return m_descriptor; }
    [[nodiscard]] bool valid() const noexcept { return m_descriptor >= 0; }
    void close() noexcept;

private:
    int m_descriptor = -1;
};

}  // namespace tessel
