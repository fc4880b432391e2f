#include "libs/base/threadname.h"

#include <atomic>
#include <functional>
#include <set>
#include <string>
#include <thread>

#include "libs/base/mutex.h"
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
    if (cacheGone) {
        return readName();
    }
    thread_local NameCache cache;
    const unsigned current = generation.load(std::memory_order_acquire);
    if (cache.generation != current) {
        cache.name = intern(readName());
        cache.generation = current;
    }
    return cache.name;
}

void threadNamesChanged() noexcept { generation.fetch_add(1, std::memory_order_release); }

}  // namespace tessel
