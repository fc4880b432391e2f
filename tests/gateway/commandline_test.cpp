// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "apps/common/commandline.h"

namespace tessel::commandline {
namespace {

const Grammar& grammar() {
    static const Grammar kGrammar{.program = "tool",
                                  .operands = "FILE [FILE]",
                                  .options = {{.name = "key", .letter = 'k', .value = "FILE", .help = "a key"},
                                              {.name = "fault", .value = "NAME", .help = "a fault", .repeatable = true},
                                              {.name = "force", .letter = 'f', .help = "a switch"},
                                              {.name = "help", .letter = 'h', .help = "this"}},
                                  .fewestOperands = 1,
                                  .mostOperands = 2};
    return kGrammar;
}

TEST(CommandLine, takesOptionsInEveryForm) {
    const std::vector<std::vector<std::string>> forms = {
        {"--key", "K", "--force", "a"}, {"a", "--key=K", "-f"}, {"-kK", "-f", "a"}, {"-fk", "K", "--", "a"}};
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
        {{"-fx"}, "unknown option -x"},
        {{"a", "--key"}, "option --key needs a value (FILE)"},
        {{"a", "--force=yes"}, "option --force takes no value"},
        {{"-f", "--forc=yes"}, "unknown option --forc"},
        {{"a", "-kK", "--key", "L"}, "option --key is given twice"},
        {{"--help"}, ""},
    };
    for (const auto& [words, error] : cases) {
        EXPECT_EQ(parse(grammar(), words).error(), error);
    }
}

}  // namespace
}  // namespace tessel::commandline
