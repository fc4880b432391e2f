#include "apps/nebrix-demo-gateway/options.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>

#include "tests/support/childprocess.h"

namespace tessel::gateway {
namespace {

TEST(DemoGatewayProgram, printsTheMediationStringsAndEndsCleanly) {
    for (const int signal : {SIGINT, SIGTERM}) {
        nebrix::test::ChildProcess program({NEBRIX_TEST_BIN "/nebrix-demo-gateway", "--client-id", "demo"});
        ASSERT_TRUE(program.waitForOutput("\nlistening 127.0.0.1:")) << program.errors();
        const std::string output = program.output();
        const auto word = [&](const std::string& after) {
            const auto from = output.find(after) + after.size();
            return output.substr(from, output.find('\n', from) - from);
        };
        for (const ComponentType type : kComponentTypes) {
            const std::string path = "/mediation/" + std::string(typeName(type)) + "?lang=en";
            EXPECT_EQ(word("mediation " + std::string(typeName(type)) + " "),
                      "https://demo@" + word("\nlistening ") + path);
        }
        const std::string certificate = word("certificate ");
        EXPECT_TRUE(std::filesystem::exists(certificate));
        program.signal(signal);
        EXPECT_EQ(program.wait(), 0);
        EXPECT_FALSE(std::filesystem::exists(certificate));
    }
    EXPECT_EQ(nebrix::test::runProgram({NEBRIX_TEST_BIN "/nebrix-demo-gateway", "--fault", "x"}).status, 2);
}

}  // namespace
}  // namespace tessel::gateway
