#include "libs/base/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>

#include "libs/base/console.h"
#include "libs/base/errors.h"
#include "libs/base/globals.h"
#include "libs/base/numbers.h"
#include "libs/base/platform.h"
#include "tests/support/systemlogcapture.h"

namespace tessel {
namespace {

class Task final : public Thread {
public:
    explicit Task(std::function<void()> body, const char* name = "task", bool synchronised = false)
        : Thread(name, 0, synchronised), m_body(std::move(body)) {}
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
        leave.acquire();
    });
    EXPECT_TRUE(task.join());
    EXPECT_EQ(task.getThreadId(), 0U);
    task.run(false);
    EXPECT_TRUE(task.isRunning());
    EXPECT_FALSE(task.isMyThread());
    EXPECT_NE(task.getThreadId(), 0U);
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
    std::vector<std::thread> callers;
    for (int i = 0; i < 4; ++i) {
        callers.emplace_back([&] {
            for (int n = 0; n < 50; ++n) {
                task.run(n % 2 == 0);
                task.join();
            }
        });
    }
    for (std::thread& caller : callers) {
        caller.join();
    }
    EXPECT_TRUE(task.join());
    EXPECT_GE(runs.load(), 50);
}

TEST(Thread, joiningOneselfReturnsAtOnce) {
    Task* self = nullptr;
    bool joined = true;
    Task task([&] { joined = self->join(); });
    self = &task;
    task.run();
    task.join();
    EXPECT_FALSE(joined);
}

TEST(Thread, anExceptionEndsTheThreadOnly) {
    const nebrix::test::SystemLogCapture log;
    const std::function<void()> bodies[] = {[] { raise<EReader>("EReader", {"libs/x", 3}); }, [] { throw 5; }};
    for (const auto& body : bodies) {
        Task task(body, "faulty");
        task.run();
        EXPECT_TRUE(task.join(30'000));
    }
    EXPECT_EQ(log.count("[faulty] ERROR Thread.thread_func Exception caught in main()"), 2U);
    EXPECT_EQ(log.count("[faulty] TRACE Exception.catch EReader:x:3 -> thread:"), 1U);
}

TEST(Thread, aLongNameIsCutForTheSystemOnly) {
    char system[32] = {};
    String logged;
    Task task(
        [&] {
            ::pthread_getname_np(::pthread_self(), system, sizeof system);
            Thread::getCurrentThread()->setName("another");
            logged = Thread::currentName();
        },
        "a name of more than fifteen bytes");
    EXPECT_EQ(task.getName(), "a name of more than fifteen bytes");
    task.run();
    task.join();
    EXPECT_STREQ(system, "a name of more ");
    EXPECT_EQ(logged, "another");
}

TEST(Thread, everyThreadHasANameForTheLog) {
    EXPECT_EQ(Thread::currentName(), "main");
    ASSERT_NE(Thread::getCurrentThread(), nullptr);
    EXPECT_EQ(Thread::getCurrentThread()->getName(), "main");
    EXPECT_TRUE(Thread::getCurrentThread()->isMyThread());
    std::thread([] {
        EXPECT_EQ(Thread::getCurrentThread(), nullptr);
        EXPECT_EQ(Thread::currentName(), "thread-" + toString(platform::currentThreadId()));
    }).join();
}

TEST(Thread, waitEndsByWakeUpAndSleepDoesNot) {
    Mutex mutex;
    bool asked = false;
    bool woken = false;
    Semaphore waiting;
    Task task([&] {
        const Lock lock(mutex);
        waiting.release();
        while (!asked) {
            woken = Thread::getCurrentThread()->wait(60'000, mutex);
        }
        EXPECT_FALSE(Thread::getCurrentThread()->wait(1, mutex));
        Thread::getCurrentThread()->sleep(1, mutex);
    });
    task.run();
    waiting.acquire();
    {
        const Lock lock(mutex);
        asked = true;
    }
    task.wakeUp();
    EXPECT_TRUE(task.join(30'000));
    EXPECT_TRUE(woken);
}

class Datum final : public ThreadLocalData {
public:
    explicit Datum(std::atomic<int>& alive) : m_alive(alive) { ++m_alive; }
    ~Datum() override { --m_alive; }

private:
    std::atomic<int>& m_alive;
};

TEST(Thread, localDataGoesWithTheThread) {
    std::atomic<int> alive{0};
    Task task([&] {
        Thread& self = *Thread::getCurrentThread();
        self.setLocalData("a", new Datum(alive));
        self.setLocalData("a", new Datum(alive));
        self.setLocalData("b", new Datum(alive));
        self.removeLocalData("b");
        EXPECT_EQ(self.getLocalData("b"), nullptr);
        EXPECT_NE(self.getLocalData("a"), nullptr);
        EXPECT_EQ(alive, 1);
    });
    task.run();
    task.join();
    EXPECT_EQ(alive, 0);
}

TEST(MainThread, mustNeverRun) {
    const nebrix::test::SystemLogCapture log;
    MainThread thread;
    thread.run();
    thread.join();
    EXPECT_TRUE(log.contains("ERROR MainThread.main NEVER CALL ME"));
}

TEST(ThreadDeathTest, aThreadThatCannotBeCreatedEndsTheProcess) {
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
}

TEST(ThreadDeathTest, killingAThreadEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto kill = [] {
        Semaphore never;
        Task task([&] { never.acquire(); });
        task.run();
        Globals::instance().threads().killAllThreads();
    };
    EXPECT_EXIT(kill(), ::testing::KilledBySignal(SIGKILL), "");
}
}  // namespace
}  // namespace tessel
