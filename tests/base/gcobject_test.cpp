#include "libs/base/gcobject.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "libs/base/disposeguard.h"
#include "libs/base/errors.h"
#include "tests/support/systemlogcapture.h"

namespace tessel::gc {
namespace {

using ::testing::Property;
using ::testing::Throws;

struct Probe final : ObjectDelete {
    explicit Probe(int& counter) : destroyed(counter) {}
    ~Probe() override { ++destroyed; }
    int& destroyed;
};

TEST(Pointer, countsAndDestroysOnce) {
    int destroyed = 0;
    Pointer<Probe> first(new Probe(destroyed));
    Pointer<ObjectDelete> second(first);
    Pointer<Object> third;
    third = second;
    first = Pointer<Probe>(first);
    EXPECT_EQ(second->gcRef(), 3);
    first.clear();
    first.clear();
    second = nullptr;
    EXPECT_EQ(destroyed, 0);
    { const AutoClear<Object> scope(third); }
    EXPECT_EQ(destroyed, 1);
}

TEST(Pointer, useOfAnEmptyOneRaises) {
    const Pointer<Object> empty;
    const auto raises =
        Throws<NullException>(Property(&Exception::toString, String("tessel::NullException:gcobject:25")));
    EXPECT_THAT([&] { static_cast<void>(empty->gcRef()); }, raises);
    EXPECT_THAT([&] { static_cast<void>((*empty).gcRef()); }, raises);
    EXPECT_THAT([&] { Object::throwIfNull(empty.uget()); }, raises);
}

TEST(Object, anObjectWithoutReferencesIsNotRevived) {
    int destroyed = 0;
    Probe object(destroyed);
    EXPECT_FALSE(object.gcAddRef(true));
    EXPECT_EQ(object.gcRef(), 0);
    object.gcAddRef(false);
    EXPECT_TRUE(object.gcAddRef(true));
    EXPECT_FALSE(object.gcRemoveRef());
    EXPECT_TRUE(object.gcRemoveRef());
}

TEST(Recycle, aLongChainEndsWithoutRecursionAndUncounted) {
    /// Its end drops the next link.
    struct Link final : ObjectDispose {
        Pointer<Link> next;
    };
    const long before = disposeGuard().count();
    Pointer<Link> head;
    for (int i = 0; i < 500'000; ++i) {
        Pointer<Link> link(new Link);
        link->next = std::move(head);
        head = std::move(link);
    }
    EXPECT_EQ(disposeGuard().count(), before + 500'000);
    head.clear();
    EXPECT_EQ(disposeGuard().count(), before);
}

TEST(DisposeGuard, logsOnlyWhatItHasToWaitFor) {
    const nebrix::test::SystemLogCapture log;
    DisposeGuard guard;
    guard.wait();
    EXPECT_EQ(log.count("DisposeGuard"), 0U);
    guard.incr();
    guard.wait(1);
    EXPECT_TRUE(log.contains("TRACE DisposeGuard.~DisposeGuard wait for1 refs for 10 seconds"));
    EXPECT_TRUE(log.contains("ERROR DisposeGuard.~DisposeGuard 1 refs still active, continuing anyway"));
    log.clear();
    std::thread last([&] {
        log.waitFor("wait for1 refs");
        guard.decr();
    });
    guard.wait();
    last.join();
    EXPECT_EQ(log.count("TRACE DisposeGuard"), 1U);
    EXPECT_EQ(log.count("ERROR DisposeGuard"), 0U);
}

}  // namespace
}  // namespace tessel::gc
