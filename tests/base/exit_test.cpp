// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "tests/support/childprocess.h"

// The order of things at the end of a process, seen from outside.
using nebrix::test::Finished;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

static Finished probe(const char* how) { return nebrix::test::runProgram({NEBRIX_EXIT_PROBE, how}); }

TEST(Exit, withoutAConsoleNothingIsLoggedAndSynchronisedThreadsAreWaitedForInSilence) {
    for (const char* how : {"nothing", "finishing"}) {
        const Finished end = probe(how);
        EXPECT_EQ(end.status, 0);
        EXPECT_EQ(end.output + end.errors, "left main\n") << how;
    }
}

TEST(Exit, whatIsQueuedIsWrittenAndLaterLinesAtOnce) {
    const Finished end = probe("lines");
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(std::count(end.output.begin(), end.output.end(), '\n'), 1001);
    EXPECT_THAT(end.output, HasSubstr("[main] ERROR Probe.main line 999\n"));
    EXPECT_THAT(end.output, EndsWith("[main] ERROR Static.destructor after main\n"));
    EXPECT_THAT(end.output, Not(HasSubstr("before main")));
}

TEST(Exit, neitherAPipeThatNobodyReadsNorAMissingThreadHoldsTheProcess) {
    const Finished blocked = probe("blocked");
    EXPECT_EQ(blocked.status, 0);
    EXPECT_EQ(blocked.errors, "left main\n");
    const Finished threadless = probe("threadless");
    EXPECT_EQ(threadless.status, 0);
    EXPECT_THAT(threadless.output, HasSubstr("[main] ERROR Probe.main written by its caller\n"));
}

TEST(Exit, aForkedChildEndsAndItsLinesAreWrittenOnce) {
    // What the threads hold that a child has not would be taken for leaks.
    const Finished end = nebrix::test::runProgram({"env", "ASAN_OPTIONS=detect_leaks=0", NEBRIX_EXIT_PROBE, "forked"});
    EXPECT_EQ(end.status, 0);
    std::size_t lines = 0;
    for (std::size_t at = 0; (at = end.output.find("of the child\n", at)) != std::string::npos; ++at) {
        ++lines;
    }
    EXPECT_EQ(lines, 6U);
    EXPECT_EQ(std::count(end.output.begin(), end.output.end(), '\n'), 6 * (200 + 1 + 1))
        << "each child's destructor logs, too";
}

TEST(Exit, survivorsAreReportedAfterFiveSeconds) {
    const auto start = std::chrono::steady_clock::now();
    const Finished end = probe("survivors");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.errors,
              "left main\n"
              "SynchroThread::~SynchroThread\tcannot wait for all threads termination for: 5s\n"
              "got 2 remaining threads\nSurvivors:\nstubborn\nsecond\n");
}

TEST(Exit, outstandingObjectsAreWaitedFor) {
    const Finished end = probe("object");
    EXPECT_EQ(end.status, 0);
    EXPECT_THAT(end.output, HasSubstr("[main] TRACE DisposeGuard.~DisposeGuard wait for1 refs for 10 seconds\n"));
    EXPECT_THAT(end.output, Not(HasSubstr("still active")));
}
