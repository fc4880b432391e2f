// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include "libs/base/gcobject.h"

namespace tessel {

/// The counted storage that strings and buffers share. Capacity is a multiple of 64 bytes.
///
/// Created by MemoryBlockPool::create and given back to the pool when the last reference goes; never deleted
/// directly. The bytes themselves are not synchronised: only a sole owner (gcRef() == 1) may change them.
///
/// A new block is one allocation, object and bytes together; only growing gives the bytes storage of their own.
class MemoryBlock final : public gc::Object {
public:
    /// The largest capacity: 4 GiB - 64.
    static constexpr unsigned kLargest = 0xffff'ffc0;

    /// Makes a block of exactly this capacity (a multiple of 64, at most kLargest). Raises std::bad_alloc.
    static MemoryBlock* make(unsigned capacity) { return new (Extra{capacity}) MemoryBlock(capacity); }
    MemoryBlock(const MemoryBlock&) = delete;
    MemoryBlock& operator=(const MemoryBlock&) = delete;
    ~MemoryBlock() override;
    static void operator delete(void* storage) noexcept;

    void gcDestroy() const override;
    [[nodiscard]] const char* getClassName() const override { return "MemoryBlock"; }

    /// As in the base. No registry takes references to blocks, so one that reads 1 is alone and stays alone: the
    /// last reference goes without a locked instruction.
    bool gcRemoveRef() const noexcept {
        if (gcRef() == 1) {
            gcLastRef();
            return true;
        }
        return Object::gcRemoveRef();
    }

    [[nodiscard]] unsigned capacity() const noexcept { return m_capacity; }
    [[nodiscard]] char* data() noexcept { return m_data; }
    [[nodiscard]] const char* data() const noexcept { return m_data; }

    /// Grows only: to n rounded up to a multiple of 64, keeping the bytes. The storage may move.
    void resize(unsigned n);

    /// Whether the byte lies in the storage.
    [[nodiscard]] bool holds(const char* position) const noexcept;
    /// Bytes left behind the view (position, length); 0 if the view does not lie in this block or fills it.
    [[nodiscard]] unsigned getFreeSpace(const char* position, unsigned length) const noexcept;

private:
    struct Extra {
        unsigned bytes;
    };

    explicit MemoryBlock(unsigned capacity) noexcept : m_capacity(capacity), m_data(attached()) {}
    static void* operator new(std::size_t size, Extra extra);
    static void operator delete(void* storage, Extra extra) noexcept;
    /// The bytes that were allocated with the object.
    [[nodiscard]] char* attached() noexcept { return reinterpret_cast<char*>(this + 1); }

    unsigned m_capacity;
    char* m_data;
};

/// Copy on write, for a view (block, data, length): makes room for `extra` bytes and a NUL behind it, writes the NUL
/// and returns the place behind the view. A block whose only user is this view, from its start, grows in place; in
/// any other case the bytes go into a new block. A total that 32 bits cannot hold aborts.
char* reserveBehind(gc::Pointer<MemoryBlock>& block, const char*& data, unsigned length, unsigned extra);

}  // namespace tessel
