// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>

namespace tessel {

/// A signed counter of 64 bits; every operation is atomic and may be called on any thread.
class AtomicCounter {
public:
    constexpr AtomicCounter(long value = 0) noexcept : m_value(value) {}
    AtomicCounter(const AtomicCounter&) = delete;
    AtomicCounter& operator=(const AtomicCounter&) = delete;

    AtomicCounter& operator=(long value) noexcept {
        m_value.store(value);
        return *this;
    }

    /// Both return the value after the change.
    long operator+=(long amount) noexcept { return m_value.fetch_add(amount) + amount; }
    long operator-=(long amount) noexcept { return m_value.fetch_sub(amount) - amount; }

    [[nodiscard]] long value() const noexcept { return m_value.load(); }
    operator long() const noexcept { return value(); }

    /// The raw atomic, for the reference count's compare-and-swap and its weaker memory orders.
    std::atomic<long>& atomic() noexcept { return m_value; }
    [[nodiscard]] const std::atomic<long>& atomic() const noexcept { return m_value; }

private:
    std::atomic<long> m_value;
};

}  // namespace tessel
