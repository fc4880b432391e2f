// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "libs/base/platform.h"
#include "libs/base/recordcache.h"

namespace tessel {

/// A queue into which any thread pushes without ever blocking, and from which one thread pops. T is movable and cheap
/// to move from; a moved-from T is kept for the next push.
///
/// Protocol. m_newest is the newest record pushed and not yet taken; records are chained from newer to older. It is
/// null when there is none, and the marker asleep() when besides that the popping thread sleeps.
///   push: chains the record to what it saw and swaps it in, again until nobody came between (release: the record is
///     complete for who takes it). Whoever swapped the marker out is the only one to wake the sleeper, so a push
///     makes a system call only when the other side sleeps.
///   pop: takes the whole chain in one exchange (acquire), turns it round once and then hands out its records, which
///     are this thread's own. Nothing is dereferenced that another thread could free, so there is no ABA problem.
///   sleep: the marker goes in only if there is nothing (otherwise it is taken at once); then the thread sleeps on
///     m_wakeups, whose value it read before it looked whether the marker still stands: a push between the two
///     changes the value and the sleep ends before it begins.
///   weight: what a push gives as the value's weight, if any, is added to m_weight before the value is queued and taken
///     off, for many at once, after it was popped (both relaxed: the number says nothing about other memory). The sum
///     is never less than what is queued weighs; a value that would take it beyond the bound is refused.
///   close: m_closed is set before m_wakeups changes, and sleep looks at the two in the other order.
/// A full queue, of weight or of records (recordcache.h), refuses what fill() brings. An empty one makes pop() wait.
/// Order is that of the swaps.
template <class T>
class FifoNoBlockPush {
    // On cache lines of its own: it travels between cores.
    struct alignas(64) Record {
        Record* next = nullptr;
        union {
            Record* nextBatch = nullptr;  // in the cache
            std::size_t weight;           // in the queue
        };
        T value;
    };
    using Cache = RecordCache<Record>;

public:
    static constexpr unsigned kMostRecords = Cache::kMostRecords;

    explicit FifoNoBlockPush(std::size_t mostWeight = static_cast<std::size_t>(-1)) noexcept
        : m_mostWeight(mostWeight) {}
    FifoNoBlockPush(const FifoNoBlockPush&) = delete;
    FifoNoBlockPush& operator=(const FifoNoBlockPush&) = delete;
    /// Drops what was not popped; nobody pushes any more.
    ~FifoNoBlockPush() {
        drop(m_taken);
        drop(m_spent);
        drop(m_newest.load(std::memory_order_acquire));
    }

    /// Any thread; also beyond the bounds. Raises std::bad_alloc when there is no record and no memory for one.
    void push(T&& value) {
        Record* const record = Cache::take(false);
        record->value = std::move(value);
        record->weight = 0;
        queue(record);
    }

    /// The same without a copy on the way: the function, which must not raise, sets a value that was moved from.
    /// False, and nothing is queued, when the queue is full.
    template <class Function>
    bool fill(Function function, std::size_t weight) {
        static_assert(noexcept(function(std::declval<T&>())));
        Record* const record = Cache::take(true);
        if (record == nullptr) [[unlikely]] {
            return false;
        }
        if (weight != 0 && m_weight.fetch_add(weight, std::memory_order_relaxed) + weight > m_mostWeight) [[unlikely]] {
            m_weight.fetch_sub(weight, std::memory_order_relaxed);
            Cache::destroy(record);
            return false;
        }
        function(record->value);
        record->weight = weight;
        queue(record);
        return true;
    }

    /// Any thread: from now on pop() waits no more.
    void close() noexcept {
        m_closed.store(true, std::memory_order_release);
        wake();
    }

    /// The popping thread: the oldest value, waiting for one at most this long; false when there is none.
    bool pop(T& value, unsigned milliseconds) {
        if (m_taken == nullptr && !fetch(milliseconds)) {
            return false;
        }
        Record* const record = m_taken;
        m_taken = record->next;
        if (m_taken != nullptr) {
            // A long queue is cold in the cache by the time it is read.
            __builtin_prefetch(m_taken);
            __builtin_prefetch(reinterpret_cast<const char*>(m_taken) + 64);
        }
        value = std::move(record->value);
        m_spentWeight += record->weight;
        recycle(record);
        return true;
    }

    /// The popping thread: whether pop() would have to wait.
    [[nodiscard]] bool empty() const noexcept {
        return m_taken == nullptr && m_newest.load(std::memory_order_relaxed) == nullptr;
    }

private:
    void queue(Record* record) noexcept {
        Record* seen = m_newest.load(std::memory_order_relaxed);
        do {
            record->next = seen == asleep() ? nullptr : seen;
        } while (!m_newest.compare_exchange_weak(seen, record, std::memory_order_release, std::memory_order_relaxed));
        if (seen == asleep()) {
            wake();
        }
    }

    void wake() noexcept {
        m_wakeups.fetch_add(1, std::memory_order_release);
        platform::wakeOne(m_wakeups);
    }

    // An address that no record has: that of a byte inside this queue.
    Record* asleep() noexcept { return reinterpret_cast<Record*>(&m_marker); }

    bool fetch(unsigned milliseconds) {
        flushSpent();
        Record* chain = m_newest.exchange(nullptr, std::memory_order_acquire);
        if (chain == nullptr && milliseconds > 0) {
            sleep(milliseconds);
            chain = m_newest.exchange(nullptr, std::memory_order_acquire);
        }
        if (chain == asleep()) {
            return false;
        }
        while (chain != nullptr) {
            Record* const older = chain->next;
            chain->next = m_taken;
            m_taken = chain;
            chain = older;
        }
        return m_taken != nullptr;
    }

    void sleep(unsigned milliseconds) noexcept {
        using std::chrono::steady_clock;
        Record* expected = nullptr;
        if (!m_newest.compare_exchange_strong(expected, asleep(), std::memory_order_relaxed)) {
            return;
        }
        const auto end = steady_clock::now() + std::chrono::milliseconds(milliseconds);
        for (;;) {
            const std::uint32_t wakeups = m_wakeups.load(std::memory_order_acquire);
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - steady_clock::now());
            if (m_newest.load(std::memory_order_relaxed) != asleep() || left.count() <= 0 ||
                m_closed.load(std::memory_order_relaxed)) {
                return;
            }
            platform::waitWhile(m_wakeups, wakeups, static_cast<unsigned>(left.count()));
        }
    }

    void recycle(Record* record) noexcept {
        record->next = m_spent;
        m_spent = record;
        if (++m_spentCount == Cache::kBatch) {
            flushSpent();
        }
    }

    void flushSpent() noexcept {
        if (m_spent != nullptr) {
            Cache::giveBack(std::exchange(m_spent, nullptr));
            m_spentCount = 0;
            if (m_spentWeight != 0) {
                m_weight.fetch_sub(std::exchange(m_spentWeight, 0), std::memory_order_relaxed);
            }
        }
    }

    void drop(Record* chain) noexcept {
        while (chain != nullptr && chain != asleep()) {
            Record* const gone = chain;
            chain = chain->next;
            Cache::destroy(gone);
        }
    }

    // What pushing threads share, on a cache line apart from what is the popping thread's own.
    alignas(64) std::atomic<Record*> m_newest{nullptr};
    std::atomic<std::uint32_t> m_wakeups{0};
    std::atomic<bool> m_closed{false};
    std::atomic<std::size_t> m_weight{0};
    const std::size_t m_mostWeight;
    alignas(alignof(Record)) char m_marker = 0;

    alignas(64) Record* m_taken = nullptr;  // oldest first
    Record* m_spent = nullptr;
    unsigned m_spentCount = 0;
    std::size_t m_spentWeight = 0;  // of the spent records
};

}  // namespace tessel
