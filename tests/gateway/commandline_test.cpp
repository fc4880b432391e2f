#include <gtest/gtest.h>

#include "apps/common/commandline.h"
#include "apps/nebrix-demo-gateway/arguments.h"
#include "tests/support/temporarydirectory.h"

namespace tessel::commandline {
namespace {

using namespace gateway;

const char* const kLongText = "a help text that has to be broken because it does not fit into the line at all";

const Grammar& grammar() {
    static const Grammar kGrammar{.program = "tool",
                                  .operands = "FILE [FILE]",
                                  .summary = "Does something.",
                                  .options = {{.name = "key", .letter = 'k', .value = "FILE", .help = "a key"},
                                              {.name = "fault", .value = "NAME", .help = "a fault", .repeatable = true},
                                              {.name = "force", .letter = 'f', .help = kLongText},
                                              {.name = "help", .letter = 'h', .help = "this"}},
                                  .fewestOperands = 1,
                                  .mostOperands = 2,
                                  .epilogue = "The end.\n"};
    return kGrammar;
}

TEST(CommandLine, takesOptionsInEveryForm) {
    const std::vector<std::vector<std::string>> forms = {
        {"--key", "K", "--force", "a"}, {"a", "--key=K", "-f"}, {"-kK", "-f", "a"}, {"-k", "K", "--force", "--", "a"}};
    for (const auto& words : forms) {
        const Arguments arguments = parse(grammar(), words);
        EXPECT_EQ(arguments.error(), "") << words[0];
        EXPECT_EQ(arguments.value("key"), "K");
        EXPECT_TRUE(arguments.has("force"));
        EXPECT_EQ(arguments.operands(), std::vector<std::string>{"a"});
    }
    const Arguments more = parse(grammar(), {"--fault", "x", "--fault=--y", "-", "--", "--key"});
    EXPECT_EQ(more.values("fault"), (std::vector<std::string>{"x", "--y"}));
    EXPECT_EQ(more.operands(), (std::vector<std::string>{"-", "--key"}));
    EXPECT_FALSE(more.has("key"));
    EXPECT_EQ(more.value("key", "default"), "default");
}

TEST(CommandLine, saysWhatIsWrong) {
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{}, "missing operand: FILE [FILE]"},
        {{"a", "b", "c"}, "unexpected operand \"c\""},
        {{"--nothing", "a"}, "unknown option --nothing"},
        {{"-x"}, "unknown option -x"},
        {{"a", "--key"}, "option --key needs a value (FILE)"},
        {{"a", "-k"}, "option --key needs a value (FILE)"},
        {{"a", "--force=yes"}, "option --force takes no value"},
        {{"a", "-fk"}, "option --force takes no value"},
        {{"a", "-kK", "--key", "L"}, "option --key is given twice"},
        {{"--help"}, ""},
    };
    for (const auto& [words, error] : cases) {
        EXPECT_EQ(parse(grammar(), words).error(), error);
    }
}

TEST(CommandLine, helpNamesEveryOptionWithin80Columns) {
    const std::string text = help(grammar());
    for (const char* part : {"usage: tool [options] FILE [FILE]\n", "Does something.\n", "  -k, --key FILE ",
                             "      --fault NAME ", "\nThe end.\n"}) {
        EXPECT_NE(text.find(part), std::string::npos) << part;
    }
    for (std::size_t from = 0; from < text.size(); from = text.find('\n', from) + 1) {
        EXPECT_LE(text.find('\n', from) - from, 80U) << text;
    }
}

TEST(CommandLine, numberTakesDigitsAloneWithinTheBounds) {
    EXPECT_EQ(number("0", 0, 9), 0U);
    EXPECT_EQ(number("65535", 1, 65535), 65535U);
    for (const char* wrong : {"", "-1", "+1", " 1", "1 ", "1x", "0x1", "0", "65536", "99999999999999999999"}) {
        EXPECT_EQ(number(wrong, 1, 65535), std::nullopt) << wrong;
    }
}

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
}  // namespace tessel::commandline
