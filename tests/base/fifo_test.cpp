#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "libs/base/fifonoblockpush.h"
#include "libs/base/string.h"

namespace tessel {
namespace {

struct Item {
    unsigned producer = 0;
    unsigned number = 0;
    String text;
};

TEST(FifoNoBlockPush, keepsEachProducersOrderAndLosesNothing) {
    constexpr unsigned kProducers = 4;
    constexpr unsigned kItems = 20'000;
    FifoNoBlockPush<Item> queue;
    std::vector<std::thread> producers;
    for (unsigned producer = 0; producer < kProducers; ++producer) {
        producers.emplace_back([&queue, producer] {
            const String text = String::copy("shared by its producer's items");
            for (unsigned number = 0; number < kItems; ++number) {
                queue.push({producer, number, text});
            }
        });
    }
    std::vector<unsigned> next(kProducers, 0);
    Item item;
    for (unsigned i = 0; i < kProducers * kItems; ++i) {
        ASSERT_TRUE(queue.pop(item, 60'000));
        ASSERT_EQ(item.number, next[item.producer]++);
        ASSERT_EQ(item.text, "shared by its producer's items");
    }
    EXPECT_TRUE(queue.empty());
    for (std::thread& producer : producers) {
        producer.join();
    }
}

TEST(FifoNoBlockPush, popTimesOutAndEveryPushWakesASleeper) {
    FifoNoBlockPush<Item> queue;
    FifoNoBlockPush<Item> answers;
    Item item;
    EXPECT_FALSE(queue.pop(item, 1));
    // Each side sleeps until the other pushes: one lost wake-up and this takes a minute for each.
    std::thread echo([&] {
        Item got;
        for (unsigned i = 0; i < 5000 && queue.pop(got, 60'000); ++i) {
            answers.push(std::move(got));
        }
    });
    for (unsigned i = 0; i < 5000; ++i) {
        queue.push({0, i, {}});
        ASSERT_TRUE(answers.pop(item, 50'000));
        ASSERT_EQ(item.number, i);
    }
    echo.join();
}

}  // namespace
}  // namespace tessel
