// SPDX-License-Identifier: Apache-2.0
#include "libs/base/memoryblockpool.h"

#include <sanitizer/asan_interface.h>

#include <algorithm>
#include <type_traits>
#include <utility>

#include "libs/base/assertion.h"
#include "libs/base/stringsites.h"
#include "libs/base/threadexit.h"

namespace tessel {

namespace {

constexpr unsigned kLargestPooled = MBP_POOLSIZE * 64;

constexpr bool isPooled(unsigned capacity) noexcept {
    return capacity >= 64 && capacity < kLargestPooled + 64 && capacity % 64 == 0;
}

/// What a thread keeps in front of the slots, until it ends. Without a destructor, because blocks still come and go
/// while the thread's other data is being destroyed.
class ThreadBlocks {
public:
    /// Null when there is none for this slot.
    MemoryBlock* take(unsigned slot) noexcept {
        MemoryBlock*& place = placeOf(slot);
        MemoryBlock* const block = place;
        if (block == nullptr || block->capacity() != (slot + 1) * 64) {
            return nullptr;
        }
        place = nullptr;
        return block;
    }

    /// The block that this one displaces, null if none; the block itself when the thread keeps nothing any more.
    MemoryBlock* put(MemoryBlock* block) noexcept {
        if (m_state != State::Open) [[unlikely]] {
            if (m_state == State::Closed) {
                return block;
            }
            m_state = State::Open;
            m_exit.arm();
        }
        return std::exchange(placeOf(block->capacity() / 64 - 1), block);
    }

private:
    enum class State { New, Open, Closed };

    static void close() noexcept;

    /// Classes with a place of their own; the larger ones share the place behind.
    static constexpr unsigned kSmall = 1024 / 64;

    MemoryBlock*& placeOf(unsigned slot) noexcept { return m_blocks[std::min(slot, kSmall)]; }

    std::array<MemoryBlock*, kSmall + 1> m_blocks{};
    State m_state = State::New;
    ThreadExit m_exit{&close};
};

thread_local constinit ThreadBlocks t_blocks;

void ThreadBlocks::close() noexcept {
    t_blocks.m_state = State::Closed;
    for (MemoryBlock*& block : t_blocks.m_blocks) {
        if (block != nullptr) {
            memoryBlockPool.destroy(std::exchange(block, nullptr));
        }
    }
}

}  // namespace

static_assert(std::is_trivially_destructible_v<MemoryBlockPool>, "the pool serves the destructors of all globals");
static_assert(std::is_trivially_destructible_v<ThreadBlocks>, "and of all data of a thread");
constinit MemoryBlockPool memoryBlockPool;

unsigned MemoryBlockPool::computeSize(unsigned size) {
    const unsigned upperSize = (size + 63U) & ~63U;
    // A size within 63 bytes of the limit wraps to 0 and fails the first of the two.
    TESSEL_ASSERT(upperSize != 0, "upperSize", sites::kPoolUpperSize);
    TESSEL_ASSERT(upperSize >= size, "upperSize >= size", sites::kPoolUpperSizeFits);
    return upperSize;
}

MemoryBlock* MemoryBlockPool::create(unsigned size) {
    // Size 0 wraps and goes on to computeSize(), which refuses it.
    if (size - 1 < kLargestPooled) {
        if (MemoryBlock* block = t_blocks.take((size - 1) / 64); block != nullptr) {
            ASAN_UNPOISON_MEMORY_REGION(block->data(), block->capacity());
            return block;
        }
    }
    return createShared(size);
}

MemoryBlock* MemoryBlockPool::createShared(unsigned size) {
    if (size - 1 < kLargestPooled) {
        // Acquire: the block's bytes and count were last written by the thread that gave it back.
        // An empty slot is left without the locked instruction.
        std::atomic<MemoryBlock*>& slot = m_slots[(size - 1) / 64].block;
        if (slot.load(std::memory_order_relaxed) != nullptr) {
            if (MemoryBlock* block = slot.exchange(nullptr, std::memory_order_acquire); block != nullptr) {
                ASAN_UNPOISON_MEMORY_REGION(block->data(), block->capacity());
                return block;
            }
        }
    }
    return MemoryBlock::make(computeSize(size));
}

void MemoryBlockPool::destroy(MemoryBlock* block) noexcept {
    if (isPooled(block->capacity())) {
        ASAN_POISON_MEMORY_REGION(block->data(), block->capacity());
        block = t_blocks.put(block);
        if (block == nullptr) {
            return;
        }
    }
    destroyShared(block);
}

void MemoryBlockPool::destroyShared(MemoryBlock* block) noexcept {
    if (const unsigned capacity = block->capacity(); isPooled(capacity)) {
        const unsigned i = capacity / 64 - 1;
        TESSEL_ASSERT(i < MBP_POOLSIZE, "i < MBP_POOLSIZE", sites::kPoolSlot);
        block = m_slots[i].block.exchange(block, std::memory_order_acq_rel);
    }
    delete block;
}

}  // namespace tessel
