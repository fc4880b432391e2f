#include "tests/base/allocationcounter.h"

#include <cstdlib>
#include <new>

namespace {

thread_local unsigned long t_allocations = 0;

}  // namespace

void* operator new(std::size_t size) {
    ++t_allocations;
    void* storage = std::malloc(size == 0 ? 1 : size);
    if (storage == nullptr) {
        throw std::bad_alloc();
    }
    return storage;
}

void operator delete(void* storage) noexcept { std::free(storage); }

void operator delete(void* storage, std::size_t) noexcept { std::free(storage); }

namespace test {

AllocationCounter::AllocationCounter() noexcept : m_before(t_allocations) {}

unsigned long AllocationCounter::count() const noexcept { return t_allocations - m_before; }

}  // namespace test
