#include "libs/base/console.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>
#include <vector>

#include "libs/base/consoleline.h"
#include "libs/base/semaphore.h"
#include "tests/support/logfile.h"
#include "tests/support/systemlogcapture.h"
#include "tests/support/temporarydirectory.h"

namespace tessel {
namespace {

using nebrix::test::LogFile;
using nebrix::test::readFile;
using nebrix::test::SystemLogCapture;
using nebrix::test::TemporaryDirectory;
using ::testing::EndsWith;
using ::testing::MatchesRegex;

constexpr LogCategory kAll[] = {LogCategory::Trace, LogCategory::Debug, LogCategory::Error, LogCategory::Assert,
                                LogCategory::Warning};

/// A console of the test's own, beside the process's.
class ConsoleTest : public ::testing::Test {
protected:
    void log(LogCategory category, const String& text) { console->log(category, "Class", "method", text); }
    String file(const char* name) { return String::copy(directory.path(name)); }

    SystemLogCapture system;
    TemporaryDirectory directory;
    gc::Pointer<Console> console{new Console};
};

TEST(ConsoleLine, bodiesAreBounedAndOfOneLine) {
    const std::string longText(100, 'x');
    const struct {
        const char* method;
        String text;
        unsigned longest;
        std::string body;
    } rows[] = {
        {"main", "Module loaded", 1000, "[main] TRACE C.main Module loaded"},
        {"", "text", 1000, "[main] TRACE C: text"},
        {"m", "a\r\nb\t\x7f\x01", 1000, "[main] TRACE C.m a\\x0d\\x0ab\\x09\\x7f\\x01"},
        {"m", "0123456789abcdef\n", 1000, "[main] TRACE C.m 0123456789abcdef\\x0a"},
        {"m", "caf\xc3\xa9 \xe2\x82\xac", 1000, "[main] TRACE C.m caf\xc3\xa9 \xe2\x82\xac"},
        {"m", String::copy(longText), 40, "[main] TRACE C.m xxxxxxxxxxxxxxxxxxxx..."},
        {"m", "xxxxxxxxxxxxxxxxxx\xe2\x82\xac\xe2\x82\xac", 40, "[main] TRACE C.m xxxxxxxxxxxxxxxxxx..."},
        {"m", "xxxxxxxxxxxxxxxxxxxxxxx", 40, "[main] TRACE C.m xxxxxxxxxxxxxxxxxxxxxxx"},
    };
    for (const auto& row : rows) {
        std::string body = "kept ";
        appendBody(body, LogCategory::Trace, "main", "C", row.method, row.text, row.longest);
        EXPECT_EQ(body, "kept " + row.body);
    }
}

TEST(ConsoleLine, momentsHaveMillisecondsWithoutLeadingZeros) {
    LineClock clock;
    std::string text;
    clock.append(text);
    EXPECT_THAT(text, MatchesRegex("[0-3][0-9]-[01][0-9]-[0-9][0-9] [0-2][0-9]:[0-5][0-9]:[0-6][0-9]\\."
                                   "(0|[1-9][0-9]?[0-9]?) "));
}

TEST_F(ConsoleTest, everyCategoryGoesToItsFileAndToTheSystemLog) {
    const char* labels[] = {"TRACE", "DEBUG", "ERROR", "ASSERT", "WARNING"};
    for (const LogCategory category : kAll) {
        console->setStream(category, file("log"));
        EXPECT_EQ(console->getFilename(category), file("log"));
    }
    for (const LogCategory category : kAll) {
        log(category, "text");
    }
    ASSERT_TRUE(console->flush(30'000));
    const auto lines = LogFile(directory.path("log")).lines();
    ASSERT_EQ(lines.size(), 5U);
    for (unsigned i = 0; i < 5; ++i) {
        EXPECT_EQ(lines[i].label, labels[i]);
        EXPECT_EQ(lines[i].thread + lines[i].where + lines[i].text, "mainClass.methodtext");
        EXPECT_EQ(system.lines()[i].category, kAll[i]);
        EXPECT_EQ(system.lines()[i].body, "[main] " + std::string(labels[i]) + " Class.method text");
    }
}

TEST_F(ConsoleTest, linesWithoutAFileReachTheSystemLog) {
    for (const char* destination : {"null", "/no/such/directory/log"}) {
        console->setStream(LogCategory::Trace, destination);
        EXPECT_EQ(console->getFilename(LogCategory::Trace), destination);
        log(LogCategory::Trace, destination);
        EXPECT_TRUE(console->flush(30'000));
        EXPECT_TRUE(system.contains("TRACE Class.method " + std::string(destination)));
    }
}

TEST_F(ConsoleTest, aFileIsEmptiedAtEachOpeningAndAppendedToByAllHandles) {
    console->setStream(LogCategory::Trace, file("log"));
    log(LogCategory::Trace, "lost");
    ASSERT_TRUE(console->flush(30'000));
    console->setStream(LogCategory::Error, file("log"));
    EXPECT_EQ(readFile(directory.path("log")), "");
    for (const char* text : {"1", "2", "3"}) {
        log(LogCategory::Trace, text);
        log(LogCategory::Error, text);
        ASSERT_TRUE(console->flush(30'000));
    }
    const LogFile content(directory.path("log"));
    EXPECT_EQ(content.lines().size(), 6U);
    EXPECT_EQ(content.lines()[5].label, "ERROR");
}

TEST_F(ConsoleTest, redirectingMovesWhoSharedTheFileToStandardOutput) {
    std::FILE* shared = Console::computeStream(file("first"));
    ASSERT_NE(shared, nullptr);
    for (const LogCategory category : kAll) {
        console->setStream(category, shared, file("first"));
    }
    console->setStream(LogCategory::Trace, file("second"));
    EXPECT_EQ(console->getFilename(LogCategory::Trace), file("second"));
    for (const LogCategory category : {LogCategory::Debug, LogCategory::Error, LogCategory::Assert}) {
        EXPECT_EQ(console->getFilename(category), "stdout");
    }
    // A limit kept as it is: WARNING is not moved, and is left with a file that is closed.
    EXPECT_EQ(console->getFilename(LogCategory::Warning), file("first"));
    log(LogCategory::Warning, "to nowhere");
    EXPECT_TRUE(console->flush(30'000));
    EXPECT_TRUE(system.contains("WARNING Class.method to nowhere"));
    EXPECT_EQ(readFile(directory.path("first")), "");
}

TEST_F(ConsoleTest, filesThatAreNotOursAreRefused) {
    directory.write("target", "kept");
    directory.write("linked", "kept");
    ASSERT_EQ(::symlink(directory.path("target").c_str(), directory.path("symlink").c_str()), 0);
    ASSERT_EQ(::link(directory.path("linked").c_str(), directory.path("hardlink").c_str()), 0);
    ASSERT_EQ(::mkfifo(directory.path("pipe").c_str(), 0600), 0);
    std::vector<const char*> names = {"symlink", "hardlink", "pipe", "."};
    if (::geteuid() == 0) {
        directory.write("foreign", "kept");
        ASSERT_EQ(::chown(directory.path("foreign").c_str(), 12345, 12345), 0);
        names.push_back("foreign");
    }
    for (const char* name : names) {
        EXPECT_EQ(Console::computeStream(file(name)), nullptr) << name;
    }
    EXPECT_EQ(readFile(directory.path("target")) + readFile(directory.path("linked")), "keptkept");

    directory.write("open", "old");
    ASSERT_EQ(::chmod(directory.path("open").c_str(), 0666), 0);
    console->setStream(LogCategory::Trace, file("open"));
    struct stat status {};
    ASSERT_EQ(::stat(directory.path("open").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
    EXPECT_EQ(status.st_size, 0);
}

TEST_F(ConsoleTest, manyThreadsLoseNoLineAndKeepTheirOrder) {
    constexpr int kThreads = 4;
    constexpr int kLines = 2000;
    console->setStream(LogCategory::Trace, file("log"));
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < kLines; ++i) {
                console->log(LogCategory::Trace, String::copy(std::to_string(thread)), "C", "m",
                             String::copy(std::to_string(i)));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    ASSERT_TRUE(console->flush(30'000));
    std::vector<int> next(kThreads, 0);
    for (const auto& line : LogFile(directory.path("log")).lines()) {
        ASSERT_EQ(line.text, std::to_string(next[std::stoul(line.thread)]++));
    }
    EXPECT_EQ(next, std::vector<int>(kThreads, kLines));
}

Semaphore sinkEntered;
Semaphore sinkMayLeave;

TEST_F(ConsoleTest, whatIsQueuedAtQuitIsLostAndLaterLinesAreWrittenAtOnce) {
    for (const LogCategory category : kAll) {
        console->setStream(category, "null");
    }
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
    EXPECT_EQ(console->getOs(), "");
    EXPECT_EQ(console->getOsName(), "Linux");
    EXPECT_EQ(console->getOs(), console->getOsName() + " " + console->getOsVersion() + " " + console->getOsPatch());
    console->setStream(LogCategory::Trace, "null");
    console->infoSystem(true);
    EXPECT_TRUE(console->flush(30'000));
    EXPECT_TRUE(system.contains("TRACE Console.infoSystem " + std::string(console->getOs().view()) + " "));
}

}  // namespace
}  // namespace tessel
