// SPDX-License-Identifier: Apache-2.0
#include "libs/base/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <functional>
#include <thread>

#include "libs/base/console.h"
#include "libs/base/errors.h"
#include "libs/base/fifonoblockpush.h"
#include "libs/base/globals.h"
#include "libs/base/numbers.h"
#include "libs/base/platform.h"
#include "tests/support/systemlogcapture.h"

namespace tessel {
namespace {

/// Runs what it is given; its end waits for the thread.
struct Task final : Thread {
    explicit Task(std::function<void()> body, const char* name = "task")
        : Thread(name, 0, false), m_body(std::move(body)) {}
    ~Task() override { join(); }

protected:
    void main() override { m_body(); }

private:
    std::function<void()> m_body;
};

TEST(Thread, runReturnsOnlyWhenTheThreadHasBegun) {
    Semaphore leave;
    Thread* inside = nullptr;
    Task task([&] {
        inside = Thread::getCurrentThread();
        EXPECT_FALSE(inside->join()) << "nobody can wait for himself";
        leave.acquire();
    });
    EXPECT_TRUE(task.join());
    task.run(false);
    EXPECT_TRUE(task.isRunning() && !task.isMyThread());
    task.run(false);  // runs already: nothing happens
    EXPECT_FALSE(task.join(1));
    leave.release();
    EXPECT_TRUE(task.join());
    EXPECT_EQ(inside, &task);
    EXPECT_FALSE(task.isRunning());
}

TEST(Thread, mayRunAgainAndFromManyThreadsAtOnce) {
    std::atomic<int> running{0};
    std::atomic<int> runs{0};
    Task task([&] {
        EXPECT_EQ(running.fetch_add(1), 0);
        ++runs;
        running.fetch_sub(1);
    });
    const auto call = [&] {
        for (int n = 0; n < 100; ++n) {
            task.run(n % 2 == 0);
            task.join();
        }
    };
    std::thread other(call);
    call();
    other.join();
    EXPECT_TRUE(task.join());
    EXPECT_GE(runs.load(), 100);
}

TEST(Thread, anExceptionEndsTheThreadOnly) {
    const nebrix::test::SystemLogCapture log;
    const std::function<void()> bodies[] = {[] { raise<EReader>("EReader", {"libs/x", 3}); }, [] { throw 5; }};
    for (const auto& body : bodies) {
        Task task(body, "faulty");
        task.run();
        EXPECT_TRUE(task.join(30'000));
    }
    MainThread never;
    never.run();
    never.join();
    EXPECT_TRUE(log.contains("ERROR MainThread.main NEVER CALL ME"));
    EXPECT_EQ(log.count("[faulty] ERROR Thread.thread_func Exception caught in main()"), 2U);
    EXPECT_EQ(log.count("[faulty] TRACE Exception.catch EReader:x:3 -> thread:"), 1U);
}

TEST(Thread, everyThreadHasANameForTheLog) {
    EXPECT_EQ(Thread::currentName(), "main");
    ASSERT_NE(Thread::getCurrentThread(), nullptr);
    EXPECT_TRUE(Thread::getCurrentThread()->isMyThread());
    std::thread([] {
        EXPECT_EQ(Thread::getCurrentThread(), nullptr);
        EXPECT_EQ(Thread::currentName(), "thread-" + toString(platform::currentThreadId()));
    }).join();
    Task(
        [] {
            char system[32] = {};
            ::pthread_getname_np(::pthread_self(), system, sizeof system);
            EXPECT_STREQ(system, "a name of more ") << "cut for the system only";
            EXPECT_EQ(Thread::currentName(), "a name of more than fifteen bytes");
            Thread::getCurrentThread()->setName("another");
            EXPECT_EQ(Thread::currentName(), "another");
        },
        "a name of more than fifteen bytes")
        .run();
}

TEST(Thread, onePerhapsCannotBeCreatedAndThenMayTryAgain) {
    bool ran = false;
    Task task([&] { ran = true; });
    const unsigned others = Globals::instance().threads().count();
    task.setStackSize(1UL << 46U);
    try {
        task.launch();
        FAIL();
    } catch (const EThread& caught) {
        EXPECT_EQ(caught.getErrorCode(), EAGAIN);
        EXPECT_EQ(caught.getMessage(),
                  "Not enough system resources to create the thread: " + String::copy(std::strerror(EAGAIN)));
    }
    EXPECT_TRUE(!task.isRunning() && task.join());
    EXPECT_EQ(Globals::instance().threads().count(), others);
    task.setStackSize(0);
    task.launch();
    EXPECT_TRUE(task.join() && ran);
}

TEST(FifoNoBlockPush, popTimesOutAndEveryPushWakesASleeper) {
    FifoNoBlockPush<unsigned> queue;
    FifoNoBlockPush<unsigned> answers;
    unsigned item = 0;
    EXPECT_FALSE(queue.pop(item, 1));
    // Each side sleeps until the other pushes: one lost wake-up and this takes a minute for each.
    std::thread echo([&] {
        unsigned got = 0;
        for (unsigned i = 0; i < 5000 && queue.pop(got, 60'000); ++i) {
            answers.push(std::move(got));
        }
    });
    for (unsigned i = 0; i < 5000; ++i) {
        queue.push(unsigned{i});
        ASSERT_TRUE(answers.pop(item, 50'000));
        ASSERT_EQ(item, i);
    }
    EXPECT_TRUE(answers.empty());
    echo.join();
}

TEST(ThreadDeathTest, aThreadThatCannotBeCreatedOrIsKilledEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto launch = [](unsigned long stack) {
        Console::start();
        Console::setSystemLogSink([](LogCategory, const String&) {});
        Console::instance()->setStream(LogCategory::Error, "stderr");
        Task task([] {});
        task.setStackSize(stack);
        task.run();
    };
    EXPECT_EXIT(launch(1), ::testing::KilledBySignal(SIGABRT),
                "ERROR Thread.run Invalid argument for attr\n.*ERROR Thread.run Invalid argument\n");
    EXPECT_EXIT(launch(1UL << 46U), ::testing::KilledBySignal(SIGABRT),
                "ERROR Thread.run Not enough system resources to create the thread\n");
    const auto kill = [] {
        Task task([] { Semaphore().acquire(); });
        task.run();
        Globals::instance().threads().killAllThreads();
    };
    EXPECT_EXIT(kill(), ::testing::KilledBySignal(SIGKILL), "");
}

}  // namespace
}  // namespace tessel
