#include "apps/nebrix-demo-gateway/arguments.h"

#include <gtest/gtest.h>

#include "tests/support/temporarydirectory.h"

namespace tessel::gateway {
namespace {

TEST(GatewayArguments, fillTheOptions) {
    const nebrix::test::TemporaryDirectory folder;
    const std::string tunnel = folder.write("libnebrix-tunnel.so", "");
    const ProgramArguments arguments = parseArguments(
        {"--port=8443", "--component", "hostchecker=/x/y.so", "--fault", "slow", "-f", "archive-cut", "--pause", "10"},
        folder.path());
    ASSERT_EQ(arguments.error, "");
    const GatewayOptions& options = arguments.options;
    EXPECT_EQ(options.port, 8443U);
    EXPECT_EQ(options.libraries, (std::map<ComponentType, std::string>{{ComponentType::PluginDll, tunnel},
                                                                       {ComponentType::Hostchecker, "/x/y.so"}}));
    EXPECT_TRUE(options.faults.has(Fault::Slow) && options.faults.has(Fault::ArchiveCut));
    EXPECT_FALSE(options.faults.has(Fault::Silent));
    EXPECT_EQ(options.pause.count(), 10);
}

TEST(GatewayArguments, areRefusedWithAReason) {
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{"--fault", "nonsense"}, "unknown fault \"nonsense\"; see --help"},
        {{"--port", "65536"}, "option --port needs a number from 0 to 65535"},
        {{"--component", "plugindll"}, "option --component needs TYPE=FILE, not \"plugindll\""},
        {{"--component", "other=/x"}, "option --component needs TYPE=FILE, not \"other=/x\""},
    };
    for (const auto& [words, error] : cases) {
        EXPECT_EQ(parseArguments(words, "/nowhere").error, error);
    }
}

TEST(GatewayArguments, helpListsEveryFault) {
    const std::string text = parseArguments({"--help"}, "").text;
    for (const FaultDescription& fault : faultDescriptions()) {
        EXPECT_NE(text.find("  " + std::string(fault.name) + " "), std::string::npos) << fault.name;
        EXPECT_EQ(faultNamed(fault.name), fault.fault);
    }
    EXPECT_EQ(faultNamed(""), std::nullopt);
}

}  // namespace
}  // namespace tessel::gateway
