// SPDX-License-Identifier: Apache-2.0
#include "tests/base/allocationcounter.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

thread_local unsigned long t_allocations = 0;
std::atomic<unsigned long> g_untilFailure{0};

}  // namespace

// The thread sanitizer brings operators of its own, but tells of every allocation.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define COUNT_BY_HOOK 1
#endif
#endif

#ifdef COUNT_BY_HOOK

#include <sanitizer/allocator_interface.h>

namespace {

void countAllocation(const volatile void*, std::size_t) { ++t_allocations; }
void ignoreRelease(const volatile void*) {}

[[maybe_unused]] const int g_installed = __sanitizer_install_malloc_and_free_hooks(countAllocation, ignoreRelease);

}  // namespace

#else

static void* checked(void* storage) {
    ++t_allocations;
    if (g_untilFailure.load() != 0 && g_untilFailure.fetch_sub(1) == 1) {
        std::free(storage);
        storage = nullptr;
    }
    if (storage == nullptr) {
        throw std::bad_alloc();
    }
    return storage;
}

void* operator new(std::size_t size) { return checked(std::malloc(size == 0 ? 1 : size)); }

void* operator new(std::size_t size, std::align_val_t alignment) {
    return checked(std::aligned_alloc(static_cast<std::size_t>(alignment), size));
}

void operator delete(void* storage) noexcept { std::free(storage); }

void operator delete(void* storage, std::size_t) noexcept { std::free(storage); }

void operator delete(void* storage, std::align_val_t) noexcept { std::free(storage); }

void operator delete(void* storage, std::size_t, std::align_val_t) noexcept { std::free(storage); }

#endif

namespace test {

unsigned long allocations() noexcept { return t_allocations; }

void failAllocation(unsigned long number) noexcept { g_untilFailure.store(number); }

}  // namespace test
