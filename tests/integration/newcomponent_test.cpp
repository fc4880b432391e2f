// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <csignal>
#include <tuple>

#include "tests/support/childprocess.h"

namespace nebrix::test {
namespace {

const std::string kSign = NEBRIX_TEST_BIN "/nebrix-sign";

/// What somebody does who has read one page: begin a component, build it, run it.
class NewComponent : public testing::Test {
protected:
    Finished begin(const std::string& kind, const std::string& name) const {
        return runProgram({kSign, "new", kind, name, m_folder.path(kind)});
    }
    Finished make(const std::string& kind, const std::string& target) const {
        return runProgram({"make", "-C", m_folder.path(kind), target, "NEBRIX_SIGN=" + kSign, "TRY=--seconds 6",
                           "CC=" NEBRIX_C_COMPILER, "CFLAGS=-Wall -Wextra -Wpedantic -Werror"});
    }

    const TemporaryDirectory m_folder;
};

TEST_F(NewComponent, eachKindBuildsAtOnceAndRuns) {
    for (const auto& [kind, said] : {std::pair("tunnel", "vpn: connected ip=192.0.2.1\n"),
                                     {"notunnel", "  GET /resources/welcome.txt\n"},
                                     {"hostchecker", "  verdict \"release\"\n"}}) {
        ASSERT_EQ(begin(kind, "mine").status, 0);
        const Finished tried = make(kind, "try");
        EXPECT_EQ(tried.status, 0) << tried.errors;
        EXPECT_NE(tried.output.find(said), std::string::npos) << tried.output;
        EXPECT_NE(begin(kind, "other").errors.find(" is not empty"), std::string::npos);
    }
}

TEST_F(NewComponent, aNameIsPlain) {
    for (const std::string name : {"", "../mine", "a b", "-mine", "1st", "it's", "a/b"}) {
        EXPECT_EQ(begin("tunnel", name).status, name == "-mine" ? 2 : 1) << name;
    }
    EXPECT_EQ(listTree(m_folder.path()), "");
}

TEST_F(NewComponent, whatIsSignedAlreadyIsServedAsItIs) {
    ASSERT_EQ(begin("hostchecker", "mine").status + make("hostchecker", "libmine.so").status, 0);
    const std::string library = m_folder.path("hostchecker/libmine.so");
    const auto signedWith = [&](const std::string& key) {
        EXPECT_EQ(runProgram({kSign, "sign", "--key", key, "--version", "3.1", library}).status, 0);
    };
    signedWith(NEBRIX_TEST_KEY);
    const Finished tried = runProgram({kSign, "try", "--signed", library});
    EXPECT_NE(tried.output.find("/hostchecker-3.1.zip\n"), std::string::npos) << tried.output << tried.errors;

    const ChildProcess server({kSign, "serve", m_folder.path("hostchecker"), "--client-id", "known"});
    ASSERT_TRUE(server.waitForOutput("listening "));
    const auto word = [told = server.output()](const std::string& before) {
        const auto from = told.find(before) + before.size();
        return told.substr(from, told.find('\n', from) - from);
    };
    const Finished session = runProgram(
        {NEBRIX_TEST_BIN "/nebrixclient-cli", "--trust", word("fingerprint "), word("mediation hostchecker ")});
    EXPECT_EQ(session.status, 0) << session.errors;
    server.signal(SIGTERM);
    EXPECT_EQ(server.wait(), 0);

    ASSERT_EQ(runProgram({kSign, "keygen", m_folder.path("own.pem"), m_folder.path("own.pub")}).status, 0);
    signedWith(m_folder.path("own.pem"));
    EXPECT_EQ(runProgram({kSign, "try", "--signed", library}).status, 1);
}

}  // namespace
}  // namespace nebrix::test
