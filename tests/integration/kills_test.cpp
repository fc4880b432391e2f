#include <gtest/gtest.h>

#include <csignal>
#include <random>

#include "tests/integration/session.h"

namespace nebrix::test {
namespace {

/// Kills the client at random moments of a download that trickles and of the unpacking behind it. The next session must
/// find nothing in its way.
TEST(Kills, leaveNothingThatStopsTheNextSession) {
    constexpr int kRounds = 12;
    constexpr unsigned kLatestMilliseconds = 400;
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    GatewayOptions options = recordingComponents();
    options.faults.add(Fault::Slow);
    options.pause = std::chrono::milliseconds(10);
    for (int round = 0; round < kRounds; ++round) {
        Session session(options);
        {
            ChildProcess client(session.client(ComponentType::Hostchecker), session.environment());
            client.wait(ChildProcess::Milliseconds(random() % kLatestMilliseconds));
            client.signalGroup(SIGKILL);
            ASSERT_TRUE(client.wait().has_value());
        }
        session.clearMarks();
        const Finished after = session.run(ComponentType::Hostchecker);
        EXPECT_EQ(after.status, 0) << after.errors << Session::log().text();
        EXPECT_TRUE(session.loaded());
    }
}

}  // namespace
}  // namespace nebrix::test
