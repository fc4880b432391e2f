// SPDX-License-Identifier: Apache-2.0
#include "libs/base/stringadditionstore.h"

#include <array>
#include <atomic>
#include <bit>
#include <cstdint>
#include <new>

#include "libs/base/threadexit.h"

namespace tessel {

namespace {

/// Blocks that one thread keeps: enough for a chain of 32 parts.
constexpr unsigned kKept = 4;

struct Raw {
    alignas(StringAdditionBlock) std::byte bytes[sizeof(StringAdditionBlock)];
};

/// 64 blocks of static storage. A set bit of m_taken is a block in use or kept by a thread. Setting is acquire and
/// clearing release, so that who takes a block sees the end of its earlier use.
class Reserve {
public:
    void* take() noexcept {
        std::uint64_t taken = m_taken.load(std::memory_order_relaxed);
        while (taken != ~std::uint64_t{0}) {
            const auto free = static_cast<unsigned>(std::countr_one(taken));
            if (m_taken.compare_exchange_weak(taken, taken | (std::uint64_t{1} << free), std::memory_order_acquire,
                                              std::memory_order_relaxed)) {
                return &m_blocks[free];
            }
        }
        return nullptr;
    }

    /// False when the block is not one of the reserve.
    bool giveBack(void* block) noexcept {
        const auto offset = reinterpret_cast<std::uintptr_t>(block) - reinterpret_cast<std::uintptr_t>(&m_blocks);
        if (offset >= sizeof m_blocks) {
            return false;
        }
        m_taken.fetch_and(~(std::uint64_t{1} << (offset / sizeof(Raw))), std::memory_order_release);
        return true;
    }

private:
    std::atomic<std::uint64_t> m_taken{0};
    std::array<Raw, 64> m_blocks{};
};

constinit Reserve g_reserve;

void release(void* block) noexcept {
    if (!g_reserve.giveBack(block)) {
        ::operator delete(block);
    }
}

/// What a thread keeps, until it ends. Without a destructor, because strings are still joined while the thread's other
/// data is being destroyed.
struct Kept {
    enum class State { New, Open, Closed };

    std::array<void*, kKept> blocks{};
    unsigned count = 0;
    State state = State::New;
};

thread_local constinit Kept t_kept;

void close() noexcept {
    t_kept.state = Kept::State::Closed;
    while (t_kept.count > 0) {
        release(t_kept.blocks[--t_kept.count]);
    }
}

thread_local constinit ThreadExit t_exit{&close};

}  // namespace

void* StringAdditionStore::take() {
    Kept& kept = t_kept;
    if (kept.count > 0) [[likely]] {
        return kept.blocks[--kept.count];
    }
    void* block = g_reserve.take();
    return block != nullptr ? block : ::operator new(sizeof(StringAdditionBlock));
}

void StringAdditionStore::giveBack(StringAdditionBlock* block) noexcept {
    Kept& kept = t_kept;
    if (kept.state == Kept::State::New) [[unlikely]] {
        kept.state = Kept::State::Open;
        t_exit.arm();
    }
    if (kept.state == Kept::State::Open && kept.count < kKept) [[likely]] {
        kept.blocks[kept.count++] = block;
    } else {
        release(block);
    }
}

}  // namespace tessel
