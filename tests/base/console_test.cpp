#include "libs/base/console.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sstream>
#include <thread>
#include <tuple>
#include <vector>

#include "libs/base/consoleline.h"
#include "libs/base/numbers.h"
#include "libs/base/semaphore.h"
#include "tests/support/logfile.h"
#include "tests/support/systemlogcapture.h"
#include "tests/support/temporarydirectory.h"

namespace tessel {
namespace {

using namespace nebrix::test;

using ::testing::ContainsRegex;
using ::testing::EndsWith;
using ::testing::Not;

constexpr LogCategory kAll[] = {LogCategory::Trace, LogCategory::Debug, LogCategory::Error, LogCategory::Assert,
                                LogCategory::Warning};

/// A console of the test's own, beside the process's.
struct ConsoleTest : ::testing::Test {
    void log(LogCategory category, const String& text) { console->log(category, "Class", "method", text); }
    String file(const char* name) { return String::copy(directory.path(name)); }

    SystemLogCapture system;
    TemporaryDirectory directory;
    gc::Pointer<Console> console{new Console};
};

TEST(ConsoleLine, bodiesAreBoundedAndOfOneLine) {
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {"", "text", ": text"},
        {"m", "a\r\nb\t\x7f\x01", ".m a\\x0d\\x0ab\\x09\\x7f\\x01"},
        {"m", "0123456789abcdef\n", ".m 0123456789abcdef\\x0a"},
        {"m", "caf\xc3\xa9 \xe2\x82\xac", ".m caf\xc3\xa9 \xe2\x82\xac"},
        {"m", "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx", ".m xxxxxxxxxxxxxxxxxxxx..."},
        {"m", "xxxxxxxxxxxxxxxxxx\xe2\x82\xac\xe2\x82\xac", ".m xxxxxxxxxxxxxxxxxx..."},
        {"m", "xxxxxxxxxxxxxxxxxxxxxxx", ".m xxxxxxxxxxxxxxxxxxxxxxx"},
    };
    for (const auto& [method, text, expected] : rows) {
        std::string body = "kept ";
        appendBody(body, LogCategory::Trace, "main", "C", method, text, 40);
        EXPECT_EQ(body, std::string("kept [main] TRACE C") + expected);
    }
}

TEST_F(ConsoleTest, everyCategoryGoesToItsFileAndToTheSystemLog) {
    const std::string labels[] = {"TRACE", "DEBUG", "ERROR", "ASSERT", "WARNING"};
    for (unsigned i = 0; i < 5; ++i) {
        const std::string name = "log" + labels[i];
        console->setStream(kAll[i], file(name.c_str()));
        log(kAll[i], "text");
        ASSERT_TRUE(console->flush(30'000));
        EXPECT_EQ(system.lines()[i].category, kAll[i]);
        EXPECT_EQ(system.lines()[i].body, "[main] " + labels[i] + " Class.method text");
        EXPECT_EQ(LogFile(directory.path(name)).count(labels[i], "Class.method", "text"), 1U);
    }
    for (const char* noFile : {"null", "/no/such/directory/log"}) {
        console->setStream(LogCategory::Trace, noFile);
        log(LogCategory::Trace, noFile);
        ASSERT_TRUE(console->flush(30'000));
        EXPECT_TRUE(system.contains("TRACE Class.method " + std::string(noFile)));
    }
}

TEST_F(ConsoleTest, aFileIsEmptiedAtEachOpeningAndAppendedToByAllHandles) {
    console->setStream(LogCategory::Trace, file("log"));
    log(LogCategory::Trace, "lost");
    ASSERT_TRUE(console->flush(30'000));
    console->setStream(LogCategory::Error, file("log"));
    EXPECT_EQ(readFile(directory.path("log")), "");
    for (const LogCategory category : {LogCategory::Trace, LogCategory::Error, LogCategory::Trace}) {
        log(category, "text");
        ASSERT_TRUE(console->flush(30'000));
    }
    EXPECT_EQ(LogFile(directory.path("log")).count("*", "Class.method", "text"), 3U);
}

TEST_F(ConsoleTest, redirectingMovesWhoSharedTheFileToStandardOutput) {
    std::FILE* shared = Console::computeStream(file("first"));
    ASSERT_NE(shared, nullptr);
    for (const LogCategory category : kAll) {
        console->setStream(category, shared, file("first"));
    }
    console->setStream(LogCategory::Trace, file("second"));
    // A limit kept as it is: WARNING is not moved, and is left with a file that is closed.
    const String names[] = {file("second"), "stdout", "stdout", "stdout", file("first")};
    for (unsigned i = 0; i < 5; ++i) {
        EXPECT_EQ(console->getFilename(kAll[i]), names[i]) << i;
    }
    log(LogCategory::Warning, "to nowhere");
    EXPECT_TRUE(console->flush(30'000));
    EXPECT_TRUE(system.contains("WARNING Class.method to nowhere"));
    EXPECT_EQ(readFile(directory.path("first")), "");
}

TEST_F(ConsoleTest, filesThatAreNotOursAreRefused) {
    const auto at = [this](const char* name) { return directory.path(name); };
    directory.write("target", "kept");
    directory.write("linked", "kept");
    ASSERT_EQ(::symlink("target", at("symlink").c_str()), 0);
    ASSERT_EQ(::link(at("linked").c_str(), at("hardlink").c_str()), 0);
    ASSERT_EQ(::mkfifo(at("pipe").c_str(), 0600), 0);
    // Only root can give a file away; for others the name stays one of a directory.
    const std::string foreign = ::geteuid() == 0 ? directory.write("foreign", "kept") : directory.path();
    ASSERT_TRUE(::geteuid() != 0 || ::chown(foreign.c_str(), 12345, 12345) == 0);
    for (const std::string& path : {at("symlink"), at("hardlink"), at("pipe"), at("."), foreign}) {
        EXPECT_EQ(Console::computeStream(String::copy(path)), nullptr) << path;
    }
    EXPECT_EQ(readFile(at("target")) + readFile(at("linked")), "keptkept");
    directory.write("open", "old");
    ASSERT_EQ(::chmod(at("open").c_str(), 0666), 0);
    console->setStream(LogCategory::Trace, file("open"));
    struct stat status {};
    ASSERT_EQ(::stat(at("open").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
    EXPECT_EQ(status.st_size, 0);
}

TEST_F(ConsoleTest, manyThreadsLoseNoLineAndKeepTheirOrder) {
    console->setStream(LogCategory::Trace, file("log"));
    std::vector<std::jthread> threads;
    for (const char* thread : {"0", "1", "2", "3"}) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < 2000; ++i) {
                console->log(LogCategory::Trace, thread, "C", "m", toString(i));
            }
        });
    }
    threads.clear();
    ASSERT_TRUE(console->flush(30'000));
    std::vector<int> next(4, 0);
    const std::string written = readFile(directory.path("log"));
    std::istringstream lines(written);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t thread = line.at(line.find('[') + 1) - std::size_t{'0'};
        ASSERT_EQ(line.substr(line.find(']')), "] TRACE C.m " + std::to_string(next.at(thread)++));
    }
    EXPECT_EQ(next, std::vector<int>(4, 2000));
    EXPECT_THAT(written, Not(ContainsRegex("\\.0[0-9]"))) << "milliseconds have no leading zeros";
}

Semaphore sinkEntered;
Semaphore sinkMayLeave;

TEST_F(ConsoleTest, whatIsQueuedAtQuitIsLostAndLaterLinesAreWrittenAtOnce) {
    console->setStream(LogCategory::Trace, file("log"));
    ASSERT_TRUE(console->flush(30'000));
    Console::setSystemLogSink([](LogCategory, const String&) {
        sinkEntered.release();
        sinkMayLeave.acquire();
    });
    log(LogCategory::Error, "held");
    sinkEntered.acquire();
    log(LogCategory::Trace, "queued");
    console->quit();
    sinkMayLeave.release();
    console->join();
    Console::setSystemLogSink([](LogCategory, const String&) {});
    EXPECT_FALSE(console->flush(1));
    EXPECT_EQ(readFile(directory.path("log")), "");
    log(LogCategory::Trace, "at once");
    EXPECT_THAT(readFile(directory.path("log")), EndsWith("[main] TRACE Class.method at once\n"));
    console->quit_and_join();
}

TEST_F(ConsoleTest, tellsTheSystem) {
    EXPECT_EQ(console->getOs(), "");  // until one of its parts was asked for
    EXPECT_EQ(console->getOsName(), "Linux");
    EXPECT_EQ(console->getOs(), console->getOsName() + " " + console->getOsVersion() + " " + console->getOsPatch());
    console->infoSystem(true);
    ASSERT_TRUE(console->flush(30'000));
    EXPECT_TRUE(system.contains("TRACE Console.infoSystem " + std::string(console->getOs().view()) + " "));
}

}  // namespace
}  // namespace tessel
