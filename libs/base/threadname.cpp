// SPDX-License-Identifier: Apache-2.0
#include "libs/base/threadname.h"

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <new>
#include <set>
#include <string>
#include <thread>
#include <utility>

#include "libs/base/mutex.h"
#include "libs/base/numbers.h"
#include "libs/base/platform.h"
#include "libs/base/thread.h"
#include "libs/base/threadexit.h"

namespace tessel {

namespace {

constinit std::atomic<unsigned> generation{1};

/// A thread's name as it was last read. Without a destructor, for what is logged while the thread's other data is being
/// destroyed.
struct NameCache {
    String* name = nullptr;  // in the storage
    alignas(String) std::byte storage[sizeof(String)]{};
    unsigned generation = 0;
    bool closed = false;
};

thread_local constinit NameCache t_cache;

void closeCache() noexcept {
    t_cache.closed = true;
    std::destroy_at(t_cache.name);
}

thread_local constinit ThreadExit t_exit{&closeCache};

String readName() {
    if (const Thread* thread = Thread::getCurrentThread(); thread != nullptr) {
        return thread->getName();
    }
    if (platform::isInitialThread()) {
        return "main";
    }
    return "thread-" + toString(platform::currentThreadId());
}

/// The name as static bytes: a line in a log then takes no count that all threads share. Beyond so many different
/// names they stay counted, and where the table is busy for long, as it may be for ever in a forked child.
String intern(const String& name) {
    constexpr unsigned kMostNames = 1024;
    constexpr int kMostTries = 1000;
    static auto* const mutex = new Mutex;
    static auto* const names = new std::set<std::string, std::less<>>;
    UniqueLock lock(*mutex, std::try_to_lock);
    for (int tries = 1; !lock.owns_lock(); ++tries) {
        if (tries == kMostTries) {
            return name;
        }
        std::this_thread::yield();
        static_cast<void>(lock.try_lock());
    }
    auto found = names->find(name.view());
    if (found == names->end()) {
        if (names->size() >= kMostNames) {
            return name;
        }
        found = names->emplace(name.view()).first;
    }
    return {found->data(), static_cast<unsigned>(found->size())};
}

}  // namespace

String currentThreadName() {
    NameCache& cache = t_cache;
    if (cache.closed) {
        return readName();
    }
    const unsigned current = generation.load(std::memory_order_acquire);
    if (cache.generation != current) {
        String name = intern(readName());
        if (cache.name == nullptr) {
            cache.name = new (cache.storage) String;
            t_exit.arm();
        }
        *cache.name = std::move(name);
        cache.generation = current;
    }
    return *cache.name;
}

void threadNamesChanged() noexcept { generation.fetch_add(1, std::memory_order_release); }

}  // namespace tessel
