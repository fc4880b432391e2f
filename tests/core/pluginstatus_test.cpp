#include "apps/nebrixclient/pluginstatus.h"

#include <gtest/gtest.h>

#include "tests/core/recorder.h"

namespace tessel::test {
namespace {

const char* const kSoft = R"([{"code":8,"reason":"3"}])";

struct Poll {
    std::vector<const char*> lists;
    std::vector<std::string> notified;
    bool stops;
};

const Poll kPolls[] = {
    {{R"([{"code":"5","status":"init"},{"code":5,"status":"connected ip=10.0.0.7"}])"},
     {"vpn init", "vpn connected ip=10.0.0.7"},
     false},
    // A list without a status repeats an empty one, once there was one.
    {{"[]", "[]"}, {}, false},
    {{R"([{"code":5,"status":"init"}])", "[]", R"([{"code":1}])"}, {"vpn init", "vpn ", "vpn "}, false},
    // The hard reasons stop at once; what follows in the list is still handled.
    {{R"([{"code":8,"reason":1}])"}, {}, true},
    {{R"([{"code":8,"reason":"2"}])"}, {}, true},
    {{R"([{"code":"8x","reason":"4y"}])"}, {}, true},
    {{R"([{"code":8,"reason":1},{"code":5,"status":"last"}])"}, {"vpn last"}, true},
    // The soft reason stops when six polls in a row bring it.
    {{kSoft, kSoft, kSoft, kSoft, kSoft}, {}, false},
    {{kSoft, kSoft, kSoft, kSoft, kSoft, kSoft}, {}, true},
    {{kSoft, kSoft, kSoft, kSoft, kSoft, "[]", kSoft, kSoft, kSoft, kSoft, kSoft}, {}, false},
    // Text that is no list is ignored.
    {{"", "[", "7", R"({"code":5})", R"([7])", R"([{"code":[]}])", R"([{"code":8,"reason":{}}])",
      R"([{"code":5,"status":"still here"}])"},
     {"vpn still here"},
     false}};

TEST(PluginStatus, turnsListsIntoNotificationsAndStops) {
    for (const Poll& poll : kPolls) {
        SCOPED_TRACE(poll.lists.front());
        NotifyRecorder notify;
        StopFlag stop;
        SessionAccount account;
        PluginStatus status(notify, stop, account);
        for (const char* list : poll.lists) {
            EXPECT_FALSE(stop.requested());
            status.process(String(list));
        }
        EXPECT_EQ(notify.lines(), poll.notified);
        EXPECT_EQ(stop.requested(), poll.stops);
    }
}

}  // namespace
}  // namespace tessel::test
