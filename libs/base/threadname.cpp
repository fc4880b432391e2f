#include "libs/base/threadname.h"

#include <atomic>

#include "libs/base/globals.h"
#include "libs/base/numbers.h"
#include "libs/base/platform.h"
#include "libs/base/thread.h"

namespace tessel {

namespace {

constinit std::atomic<unsigned> generation{1};
// Outlives the cache, for what is logged while the thread's local objects are destroyed.
thread_local constinit bool cacheGone = false;

struct NameCache {
    NameCache() = default;
    NameCache(const NameCache&) = delete;
    NameCache& operator=(const NameCache&) = delete;
    ~NameCache() { cacheGone = true; }

    unsigned generation = 0;
    String name;
};

String readName() {
    if (const Thread* thread = Thread::getCurrentThread(); thread != nullptr) {
        return thread->getName();
    }
    if (platform::isInitialThread()) {
        return "main";
    }
    return "thread-" + toString(platform::currentThreadId());
}

}  // namespace

String currentThreadName() {
    if (cacheGone) {
        return readName();
    }
    thread_local NameCache cache;
    const unsigned current = generation.load(std::memory_order_acquire);
    if (cache.generation != current) {
        cache.name = readName();
        cache.generation = current;
    }
    return cache.name;
}

void threadNamesChanged() noexcept { generation.fetch_add(1, std::memory_order_release); }

}  // namespace tessel
