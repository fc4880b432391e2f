#include "libs/base/gcobject.h"

#include <gtest/gtest.h>

#include <thread>

#include "libs/base/disposeguard.h"
#include "libs/base/errors.h"
#include "tests/support/systemlogcapture.h"

namespace tessel::gc {
namespace {

template <class Base>
class Probe : public Base {
public:
    explicit Probe(int& destroyed) : m_destroyed(destroyed) {}
    ~Probe() override { ++m_destroyed; }

private:
    int& m_destroyed;
};

TEST(Pointer, countsAndDestroysOnce) {
    int destroyed = 0;
    Pointer<Probe<ObjectDelete>> first(new Probe<ObjectDelete>(destroyed));
    Pointer<ObjectDelete> second(first);
    Pointer<Object> third;
    third = second;
    first = Pointer<Probe<ObjectDelete>>(first);
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
    for (const auto use : {+[](const Pointer<Object>& p) { static_cast<void>(p->gcRef()); },
                           +[](const Pointer<Object>& p) { static_cast<void>((*p).gcRef()); },
                           +[](const Pointer<Object>& p) { Object::throwIfNull(p.uget()); }}) {
        try {
            use(empty);
            ADD_FAILURE() << "nothing was raised";
        } catch (const NullException& caught) {
            EXPECT_EQ(caught.toString(), "tessel::NullException:gcobject:25");
        }
    }
}

TEST(Object, anObjectWithoutReferencesIsNotRevived) {
    int destroyed = 0;
    Probe<ObjectDelete> object(destroyed);
    EXPECT_FALSE(object.gcAddRef(true));
    EXPECT_EQ(object.gcRef(), 0);
    object.gcAddRef(false);
    EXPECT_TRUE(object.gcAddRef(true));
    EXPECT_FALSE(object.gcRemoveRef());
    EXPECT_TRUE(object.gcRemoveRef());
}

/// A link of a chain whose end drops the next link.
class Link final : public ObjectDispose {
public:
    Pointer<Link> next;
};

TEST(Recycle, aLongChainEndsWithoutRecursionAndUncounted) {
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

    for (int i = 0; i < 3; ++i) {
        guard.incr();
    }
    guard.wait(1);
    EXPECT_TRUE(log.contains("TRACE DisposeGuard.~DisposeGuard wait for3 refs for 10 seconds"));
    EXPECT_TRUE(log.contains("ERROR DisposeGuard.~DisposeGuard 3 refs still active, continuing anyway"));

    log.clear();
    std::thread last([&] {
        log.waitFor("wait for3 refs");
        for (int i = 0; i < 3; ++i) {
            guard.decr();
        }
    });
    guard.wait();
    last.join();
    EXPECT_EQ(log.count("TRACE DisposeGuard"), 1U);
    EXPECT_EQ(log.count("ERROR DisposeGuard"), 0U);
}

}  // namespace
}  // namespace tessel::gc
