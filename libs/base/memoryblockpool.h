// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <atomic>

#include "libs/base/memoryblock.h"

namespace tessel {

/// Slots of the pool: one for each multiple of 64 bytes up to 8 KiB.
inline constexpr unsigned MBP_POOLSIZE = 128;

/// Keeps the most recently released block of each size class ready for the next request.
///
/// Slot i holds at most one idle block of exactly (i + 1) * 64 bytes. Slots are only ever exchanged atomically, so
/// any thread may take and give back at any moment and there is no lock. Slots lie on cache lines of their own:
/// two threads in neighbouring size classes do not disturb each other. Usable before main() and after it
/// (constant-initialised, never destroyed).
///
/// In front of the slots each thread keeps what it released last, for itself alone: one block of each class up to
/// 1 KiB and one of the larger classes. Taking and giving back there needs no atomic exchange (two of them cost more
/// than the heap does on many processors). What is displaced goes on to the slots, and so does everything when the
/// thread ends. A thread keeps at most 17 blocks with 16.5 KiB of bytes; one that releases none keeps none.
///
/// Under the address sanitizer the bytes of idle blocks are poisoned, so that a view that outlives its block is
/// reported.
class MemoryBlockPool {
public:
    constexpr MemoryBlockPool() noexcept = default;
    MemoryBlockPool(const MemoryBlockPool&) = delete;
    MemoryBlockPool& operator=(const MemoryBlockPool&) = delete;

    /// A block of at least `size` bytes, with count 0: the calling thread's own, else from the slot of its class,
    /// else new. A size that does not fit the capacity's 32 bits aborts ("upperSize", "upperSize >= size").
    MemoryBlock* create(unsigned size);

    /// Takes a block whose last reference went, on any thread; deletes it, or the one it displaces from its slot.
    void destroy(MemoryBlock* block) noexcept;

    /// Rounds up to the next multiple of 64; asserts as create() does.
    static unsigned computeSize(unsigned size);

private:
    struct alignas(64) Slot {
        std::atomic<MemoryBlock*> block{nullptr};
    };

    // The two behind the thread's own blocks.
    MemoryBlock* createShared(unsigned size);
    void destroyShared(MemoryBlock* block) noexcept;

    std::array<Slot, MBP_POOLSIZE> m_slots{};
};

extern MemoryBlockPool memoryBlockPool;

}  // namespace tessel
