#include "libs/base/memoryblockpool.h"

#include <type_traits>

#include "libs/base/assertion.h"
#include "libs/base/stringsites.h"

namespace tessel {

namespace {

constexpr unsigned kLargestPooled = MBP_POOLSIZE * 64;

}  // namespace

static_assert(std::is_trivially_destructible_v<MemoryBlockPool>, "the pool serves the destructors of all globals");
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
        // Acquire: the block's bytes and count were last written by the thread that gave it back.
        // An empty slot is left without the locked instruction.
        std::atomic<MemoryBlock*>& slot = m_slots[(size - 1) / 64].block;
        if (slot.load(std::memory_order_relaxed) != nullptr) {
            if (MemoryBlock* block = slot.exchange(nullptr, std::memory_order_acquire); block != nullptr) {
                return block;
            }
        }
    }
    return MemoryBlock::make(computeSize(size));
}

void MemoryBlockPool::destroy(MemoryBlock* block) noexcept {
    const unsigned capacity = block->capacity();
    if (capacity >= 64 && capacity < kLargestPooled + 64 && capacity % 64 == 0) {
        const unsigned i = capacity / 64 - 1;
        TESSEL_ASSERT(i < MBP_POOLSIZE, "i < MBP_POOLSIZE", sites::kPoolSlot);
        block = m_slots[i].block.exchange(block, std::memory_order_acq_rel);
    }
    delete block;
}

}  // namespace tessel
