// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <utility>

#include "libs/base/threadexit.h"

namespace tessel {

/// Keeps the records of all queues of one type for reuse, so that pushing allocates nothing once the process runs.
///
/// Record has the members `Record* next` and `Record* nextBatch`, which belong to this cache while a record is in it.
///
/// Protocol. Each thread has a private list, which it alone touches. What is given back comes in batches: records
/// chained by `next`, the first of which links the next batch by `nextBatch`. Batches lie on a shared stack. A thread
/// whose list is empty takes the whole stack in one exchange, keeps the first batch and puts the others back: nobody
/// ever dereferences a record that another thread could take meanwhile, so there is no ABA problem and no tag. Every
/// push onto the stack releases, the exchange acquires: what was written to a record before it was given back is
/// seen by who takes it. A thread that finds the stack empty makes a new record; beyond kMostBatches what is given
/// back is deleted. Nothing waits for another thread. There are never more than kMostRecords: what a queue may take of
/// memory is bounded without a word that every push changes. (Threads keep at most kBatch records each for
/// themselves: five hundred of them leave half of all to the one that needs most.)
template <class Record>
class RecordCache {
public:
    static constexpr unsigned kBatch = 64;
    static constexpr unsigned kMostBatches = 512;
    static constexpr unsigned kMostRecords = 65536;

    /// A record in the state in which it was given back, or a new one; null when there are kMostRecords, or, beyond the
    /// bound, one more. Any thread. Raises std::bad_alloc.
    static Record* take(bool bounded) {
        Local& local = s_local;
        if (local.first == nullptr) {
            local.first = local.open() ? takeBatch() : nullptr;
            if (local.first == nullptr) {
                return make(bounded);
            }
        }
        Record* record = local.first;
        local.first = record->next;
        if (local.first != nullptr) {
            // The other side's core wrote it last: fetch it while the caller goes on.
            __builtin_prefetch(local.first, 1);
            __builtin_prefetch(reinterpret_cast<const char*>(local.first) + 64, 1);
        }
        return record;
    }

    /// A chain of at most kBatch records. Any thread.
    static void giveBack(Record* first) noexcept {
        if (s_batches.load(std::memory_order_relaxed) >= kMostBatches) {
            while (first != nullptr) {
                Record* const gone = first;
                first = first->next;
                destroy(gone);
            }
            return;
        }
        s_batches.fetch_add(1, std::memory_order_relaxed);
        first->nextBatch = nullptr;
        putBack(first, first);
    }

    /// Instead of giving it back. Any thread.
    static void destroy(Record* record) noexcept {
        delete record;
        s_made.fetch_sub(1, std::memory_order_relaxed);
    }

private:
    /// Without a destructor, for pushes while the thread's other data is being destroyed.
    struct Local {
        enum class State { New, Open, Closed };

        /// False when the thread keeps nothing any more.
        bool open() noexcept {
            if (state == State::New) {
                state = State::Open;
                exit.arm();
            }
            return state == State::Open;
        }
        static void close() noexcept {
            s_local.state = State::Closed;
            if (Record* const kept = std::exchange(s_local.first, nullptr); kept != nullptr) {
                giveBack(kept);
            }
        }

        Record* first = nullptr;
        State state = State::New;
        ThreadExit exit{&close};
    };

    static Record* make(bool bounded) {
        if (s_made.fetch_add(1, std::memory_order_relaxed) >= kMostRecords && bounded) {
            s_made.fetch_sub(1, std::memory_order_relaxed);
            return nullptr;
        }
        try {
            return new Record;
        } catch (...) {
            s_made.fetch_sub(1, std::memory_order_relaxed);
            throw;
        }
    }

    static Record* takeBatch() noexcept {
        Record* const batch = s_top.exchange(nullptr, std::memory_order_acquire);
        if (batch == nullptr) {
            return nullptr;
        }
        s_batches.fetch_sub(1, std::memory_order_relaxed);
        if (Record* const rest = batch->nextBatch; rest != nullptr) {
            Record* expected = nullptr;
            if (!s_top.compare_exchange_strong(expected, rest, std::memory_order_release, std::memory_order_relaxed)) {
                Record* last = rest;
                while (last->nextBatch != nullptr) {
                    last = last->nextBatch;
                }
                putBack(rest, last);
            }
        }
        return batch;
    }

    static void putBack(Record* first, Record* last) noexcept {
        Record* top = s_top.load(std::memory_order_relaxed);
        do {
            last->nextBatch = top;
        } while (!s_top.compare_exchange_weak(top, first, std::memory_order_release, std::memory_order_relaxed));
    }

    // Constant-initialised and never destroyed: usable before main() and after it.
    alignas(64) static inline constinit std::atomic<Record*> s_top{nullptr};
    static inline constinit std::atomic<unsigned> s_batches{0};
    static inline constinit std::atomic<unsigned> s_made{0};
    static inline thread_local constinit Local s_local{};
};

}  // namespace tessel
