// SPDX-License-Identifier: Apache-2.0
#include "libs/base/gcobject.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "libs/base/disposeguard.h"
#include "libs/base/errors.h"
#include "tests/support/systemlogcapture.h"

namespace tessel::gc {

using ::testing::Property;
using ::testing::Throws;

TEST(Pointer, countsAndDestroysOnce) {
    struct Probe final : ObjectDelete {
        explicit Probe(int& counter) : destroyed(counter) {}
        ~Probe() override { ++destroyed; }
        int& destroyed;
    };
    int destroyed = 0;
    Pointer<Probe> first(new Probe(destroyed));
    Pointer<Object> second;
    second = Pointer<ObjectDelete>(first);
    first = Pointer<Probe>(first);
    EXPECT_EQ(second->gcRef(), 2);
    first.clear();
    first.clear();
    EXPECT_EQ(destroyed, 0);
    second = nullptr;
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
    ObjectDelete object;
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
    { const AutoClear<Link> scope(head); }
    EXPECT_EQ(disposeGuard().count(), before);
}

TEST(DisposeGuard, doesNotWaitForever) {
    const nebrix::test::SystemLogCapture log;
    DisposeGuard guard;
    guard.incr();
    guard.wait(1);
    EXPECT_TRUE(log.contains("ERROR DisposeGuard.~DisposeGuard 1 refs still active, continuing anyway"));
    guard.decr();
}

}  // namespace tessel::gc
