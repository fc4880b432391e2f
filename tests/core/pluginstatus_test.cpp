// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/pluginstatus.h"

#include <gtest/gtest.h>

#include "tests/core/recorder.h"

namespace tessel::test {
namespace {

const char* const kSoft = R"([{"code":8,"reason":"3"}])";

struct Poll {
    std::vector<const char*> lists;
    std::vector<std::string> notified;
    EndCause cause;  // of the stop that is asked for
};

const Poll kPolls[] = {
    {{R"([{"code":"5","status":"init"},{"code":5,"status":"connected ip=10.0.0.7"}])"},
     {"vpn init", "vpn connected ip=10.0.0.7"},
     EndCause::None},
    // A list without a status repeats an empty one, once there was one.
    {{"[]", "[]"}, {}, EndCause::None},
    {{R"([{"code":5,"status":"init"}])", "[]", R"([{"code":1}])"}, {"vpn init", "vpn ", "vpn "}, EndCause::None},
    // The hard reasons stop at once; what follows in the list is still handled.
    {{R"([{"code":8,"reason":1}])"}, {}, EndCause::AskedAtOnce},
    {{R"([{"code":8,"reason":"2"}])"}, {}, EndCause::AskedAtOnce},
    {{R"([{"code":"8x","reason":"4y"}])"}, {}, EndCause::AskedAtOnce},
    {{R"([{"code":8,"reason":1},{"code":5,"status":"last"}])"}, {"vpn last"}, EndCause::AskedAtOnce},
    // The soft reason stops when six polls in a row bring it.
    {{kSoft, kSoft, kSoft, kSoft, kSoft}, {}, EndCause::None},
    {{kSoft, kSoft, kSoft, kSoft, kSoft, kSoft}, {}, EndCause::AskedAgain},
    {{kSoft, kSoft, kSoft, kSoft, kSoft, "[]", kSoft, kSoft, kSoft, kSoft, kSoft}, {}, EndCause::None},
    // Text that is no list is ignored.
    {{"", "[", "7", R"({"code":5})", R"([7])", R"([{"code":[]}])", R"([{"code":8,"reason":{}}])",
      R"([{"code":5,"status":"still here"}])"},
     {"vpn still here"},
     EndCause::None}};

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
        EXPECT_EQ(stop.requested(), poll.cause != EndCause::None);
        EXPECT_STREQ(name(account.end().cause), name(poll.cause));
    }
}

}  // namespace
}  // namespace tessel::test
