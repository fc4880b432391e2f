// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <thread>

#include "tests/support/childprocess.h"

namespace nebrix::test {
namespace {

const std::string kSign = NEBRIX_TEST_BIN "/nebrix-sign";

/// What somebody does who has read one page: begin a component, build it, run it.
class NewComponent : public testing::Test {
protected:
    Finished begin(const std::string& kind, const std::string& name) const {
        return runProgram({kSign, "new", kind, name, path(kind)});
    }
    std::string path(const std::string& kind) const { return m_folder.path("somebody's " + kind); }
    /// Runs make by a command line, as a shell takes it.
    Finished make(const std::string& command) const {
        return runProgram({"sh", "-c", command + " \"$@\"", "make", "TRY=--seconds 6",
                           std::string("CC=") + NEBRIX_C_COMPILER, "CFLAGS=-Wall -Wextra -Wpedantic -Werror"});
    }
    /// The library of a new component.
    std::string built(const std::string& kind) const {
        EXPECT_EQ(begin(kind, "mine").status + make("make -C \"" + path(kind) + "\"").status, 0);
        return path(kind) + "/libmine.so";
    }

    const TemporaryDirectory m_folder;
};

TEST_F(NewComponent, eachKindBuildsAtOnceAndRuns) {
    for (const auto& [kind, said] : {std::pair("tunnel", "vpn: connected ip=192.0.2.1\n"),
                                     {"notunnel", "  GET /resources/welcome.txt\n"},
                                     {"hostchecker", "  verdict \"release\"\n"}}) {
        const std::string told = begin(kind, "mine").output;
        const Finished tried = make(told.substr(told.find("  make "), told.rfind('\n') - told.find("  make ")));
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

TEST_F(NewComponent, whatCannotBeWrittenWholeIsNotThere) {
    const char* const kOfTenKibibytes = "trap '' XFSZ; ulimit -f 20; exec \"$0\" new tunnel mine \"$1\"";
    const Finished begun = runProgram({"sh", "-c", kOfTenKibibytes, kSign, path("tunnel")});
    EXPECT_NE(begun.errors.find("nebrix_component.h: File too large"), std::string::npos) << begun.errors;
    EXPECT_EQ(listTree(m_folder.path()), "");
    EXPECT_EQ(runProgram({"sh", "-c", "exec \"$0\" --help >/dev/full", kSign}).status, 1);
}

TEST_F(NewComponent, aSessionEndsWithTheTrialThatIsKilled) {
    const ChildProcess trial({kSign, "try", built("tunnel")});
    ASSERT_TRUE(trial.waitForOutput("vpn: "));
    trial.signal(SIGKILL);
    for (int look = 0; look < 1000 && trial.output().find("session over") == std::string::npos; ++look) {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
    }
    EXPECT_NE(trial.output().find("session over"), std::string::npos) << trial.errors();
}

TEST_F(NewComponent, whatIsSignedAlreadyIsServedAsItIs) {
    const std::string library = built("hostchecker");
    const auto signedWith = [&](const std::string& key) {
        EXPECT_EQ(runProgram({kSign, "sign", key, "--version", "3.1", library}).status, 0);
    };
    signedWith("--development");
    const Finished tried = runProgram({kSign, "try", "--signed", library});
    EXPECT_NE(tried.output.find("/hostchecker-3.1.zip\n"), std::string::npos) << tried.output << tried.errors;

    const ChildProcess server({kSign, "serve", path("hostchecker"), "--client-id", "known"});
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
    signedWith("--key=" + m_folder.path("own.pem"));
    EXPECT_EQ(runProgram({kSign, "try", "--signed", library}).status, 1);
    std::ofstream(library, std::ios::app) << "built anew";
    EXPECT_NE(runProgram({kSign, "serve", path("hostchecker")}).errors.find(" is not the library"), std::string::npos);
}

}  // namespace
}  // namespace nebrix::test
