// SPDX-License-Identifier: Apache-2.0
#include "libs/base/memoryblock.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#include "libs/base/assertion.h"
#include "libs/base/memoryblockpool.h"
#include "libs/base/stringsites.h"

namespace tessel {

namespace {

/// The size to grow to. Beyond the sizes that the pool keeps, half as much again: a long text that is built from
/// many small pieces is then moved a few times only.
unsigned grownSize(unsigned capacity, std::uint64_t needed) {
    if (capacity <= MBP_POOLSIZE * 64) {
        return static_cast<unsigned>(needed);
    }
    const std::uint64_t roomy = std::min(capacity + std::uint64_t{capacity} / 2, std::uint64_t{MemoryBlock::kLargest});
    return static_cast<unsigned>(std::max(needed, roomy));
}

}  // namespace

void* MemoryBlock::operator new(std::size_t size, Extra extra) {
    static_assert(sizeof(MemoryBlock) % alignof(std::max_align_t) == 0);
    return ::operator new(size + extra.bytes);
}

void MemoryBlock::operator delete(void* storage) noexcept { ::operator delete(storage); }

void MemoryBlock::operator delete(void* storage, Extra) noexcept { ::operator delete(storage); }

MemoryBlock::~MemoryBlock() {
    if (m_data != attached()) {
        std::free(m_data);
    }
}

void MemoryBlock::gcDestroy() const {
    // Nobody else refers to the block any more.
    memoryBlockPool.destroy(const_cast<MemoryBlock*>(this));
}

void MemoryBlock::resize(unsigned n) {
    if (n <= m_capacity) {
        return;
    }
    const unsigned capacity = MemoryBlockPool::computeSize(n);
    const bool isAttached = m_data == attached();
    void* storage = isAttached ? std::malloc(capacity) : std::realloc(m_data, capacity);
    if (storage == nullptr) {
        throw std::bad_alloc();
    }
    if (isAttached) {
        std::memcpy(storage, m_data, m_capacity);
    }
    m_data = static_cast<char*>(storage);
    m_capacity = capacity;
}

bool MemoryBlock::holds(const char* position) const noexcept {
    return reinterpret_cast<std::uintptr_t>(position) - reinterpret_cast<std::uintptr_t>(m_data) < m_capacity;
}

unsigned MemoryBlock::getFreeSpace(const char* position, unsigned length) const noexcept {
    if (!holds(position)) {
        return 0;
    }
    const unsigned behind = m_capacity - static_cast<unsigned>(position - m_data);
    return length < behind ? behind - length : 0;
}

char* reserveBehind(gc::Pointer<MemoryBlock>& block, const char*& data, unsigned length, unsigned extra) {
    const unsigned need = extra == 0 ? 1 : extra;
    const std::uint64_t needed = std::uint64_t{length} + need + 1;
    TESSEL_ASSERT(needed <= MemoryBlock::kLargest, "upperSize >= size", sites::kPoolUpperSizeFits);
    MemoryBlock* own = block.uget();
    if (own != nullptr && own->gcRef() < 2 && data == own->data()) {
        if (own->getFreeSpace(data, length) <= need) {
            own->resize(grownSize(own->capacity(), needed));
        }
        data = own->data();
        TESSEL_ASSERT(data != nullptr, "m_string", sites::kStringReserve);
    } else {
        own = memoryBlockPool.create(static_cast<unsigned>(needed));
        if (length != 0) {
            std::memcpy(own->data(), data, length);
        }
        block = gc::Pointer<MemoryBlock>::fresh(own);
        data = own->data();
        TESSEL_ASSERT(data != nullptr, "m_string", sites::kStringReserveNew);
    }
    char* place = own->data() + length;
    place[need] = '\0';
    // Ends the text as it is now, in case the caller writes less than announced.
    place[0] = '\0';
    return place;
}

}  // namespace tessel
