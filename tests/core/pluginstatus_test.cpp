#include "apps/nebrixclient/pluginstatus.h"

#include <gtest/gtest.h>

#include "tests/core/recorder.h"

namespace tessel::test {
namespace {

const char* const kSoft = R"([{"code":8,"reason":"3"}])";

struct Poll {
    const char* name;
    std::vector<const char*> lists;
    std::vector<std::string> notified;
    bool stops;
};

class PluginStatusTest : public testing::TestWithParam<Poll> {};

TEST_P(PluginStatusTest, TurnsListsIntoNotificationsAndStops) {
    NotifyRecorder notify;
    StopFlag stop;
    PluginStatus status(notify, stop);
    for (const char* list : GetParam().lists) {
        EXPECT_FALSE(stop.requested());
        status.process(String(list));
    }
    EXPECT_EQ(notify.lines(), GetParam().notified);
    EXPECT_EQ(stop.requested(), GetParam().stops);
}

INSTANTIATE_TEST_SUITE_P(
    Polls, PluginStatusTest,
    testing::Values(Poll{"StatusesInOrder",
                         {R"([{"code":"5","status":"init"},{"code":5,"status":"connected ip=10.0.0.7"}])"},
                         {"vpn init", "vpn connected ip=10.0.0.7"},
                         false},
                    Poll{"NothingBeforeTheFirstStatus", {"[]", "[]"}, {}, false},
                    Poll{"EmptyLineAfterTheFirstStatus",
                         {R"([{"code":5,"status":"init"}])", "[]", R"([{"code":1}])"},
                         {"vpn init", "vpn ", "vpn "},
                         false},
                    Poll{"HardReason1", {R"([{"code":8,"reason":1}])"}, {}, true},
                    Poll{"HardReason2", {R"([{"code":8,"reason":"2"}])"}, {}, true},
                    Poll{"HardReason4", {R"([{"code":"8x","reason":"4y"}])"}, {}, true},
                    Poll{"MessagesAfterAHardReasonAreStillHandled",
                         {R"([{"code":8,"reason":1},{"code":5,"status":"last"}])"},
                         {"vpn last"},
                         true},
                    Poll{"FiveSoftRequestsAreAWish", {kSoft, kSoft, kSoft, kSoft, kSoft}, {}, false},
                    Poll{"SixSoftRequestsStop", {kSoft, kSoft, kSoft, kSoft, kSoft, kSoft}, {}, true},
                    Poll{"APollWithoutOneWithdrawsTheWish",
                         {kSoft, kSoft, kSoft, kSoft, kSoft, "[]", kSoft, kSoft, kSoft, kSoft, kSoft},
                         {},
                         false},
                    Poll{"TextThatIsNoListIsIgnored",
                         {"", "[", "7", R"({"code":5})", R"([7])", R"([{"code":[]}])", R"([{"code":8,"reason":{}}])",
                          R"([{"code":5,"status":"still here"}])"},
                         {"vpn still here"},
                         false}),
    [](const auto& poll) { return poll.param.name; });

}  // namespace
}  // namespace tessel::test
