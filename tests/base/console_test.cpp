// SPDX-License-Identifier: Apache-2.0
#include "libs/base/console.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <memory>
#include <regex>
#include <sstream>
#include <thread>
#include <tuple>
#include <vector>

#include "libs/base/consoleline.h"
#include "libs/base/file.h"
#include "libs/base/numbers.h"
#include "libs/base/platform.h"
#include "libs/base/semaphore.h"
#include "tests/base/allocationcounter.h"
#include "tests/support/logfile.h"
#include "tests/support/privatehome.h"
#include "tests/support/systemlogcapture.h"
#include "tests/support/temporarydirectory.h"

namespace tessel {
namespace {

using namespace nebrix::test;

using ::testing::ContainsRegex;
using ::testing::EndsWith;
using ::testing::Not;
using ::testing::StartsWith;

constexpr LogCategory kAll[] = {LogCategory::Trace, LogCategory::Debug, LogCategory::Error, LogCategory::Assert,
                                LogCategory::Warning};

/// A console of the test's own, beside the process's.
struct ConsoleTest : ::testing::Test {
    void log(LogCategory category, const String& text) { console->log(category, "Class", "method", text); }
    String file(const char* name) { return String::copy(directory.path(name)); }
    [[nodiscard]] std::string written(const char* name) const { return readFile(directory.path(name)); }
    /// The number in front of these words in the file of warnings, once it is there.
    unsigned long reported(const char* words);

    SystemLogCapture system;
    TemporaryDirectory directory;
    gc::Pointer<Console> console{new Console};
};

unsigned long ConsoleTest::reported(const char* words) {
    std::smatch match;
    const std::regex line("WARNING Console\\.\\w+ ([0-9]+) lines? (was|were) " + std::string(words));
    for (int tries = 0; tries < 10'000; ++tries) {
        Semaphore().acquire(1);
        const std::string text = written("log");
        if (std::regex_search(text, match, line)) {
            return std::stoul(match[1]);
        }
    }
    return 0;
}

/// A datagram socket under a path, or "@" and a name, in the place of a log daemon's or a service manager's.
class Daemon {
public:
    explicit Daemon(const std::string& path) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        ::unlink(path.c_str());
        std::replace(address.sun_path, address.sun_path + 1, '@', '\0');
        const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
        EXPECT_EQ(::bind(m_socket, reinterpret_cast<sockaddr*>(&address), size), 0);
    }
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;
    ~Daemon() { ::close(m_socket); }
    /// The next datagram; empty when none comes.
    [[nodiscard]] std::string receive() const {
        std::string text(512 * 1024, '\0');
        pollfd entry{m_socket, POLLIN, 0};
        ::poll(&entry, 1, 30'000);
        const ssize_t length = ::recv(m_socket, text.data(), text.size(), MSG_DONTWAIT);
        text.resize(static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
        return text;
    }

private:
    int m_socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

TEST(ServiceManager, hearsMessagesAtEitherKindOfName) {
    const TemporaryDirectory directory;
    for (const std::string& name : {directory.path("notify"), "@nebrix-notify-" + std::to_string(::getpid())}) {
        const Daemon manager(name);
        ::setenv("NOTIFY_SOCKET", name.c_str(), 1);
        const Descriptor connection = platform::connectServiceManager();
        platform::tellServiceManager(connection, "READY=1\nSTATUS=up\n");
        EXPECT_EQ(manager.receive(), "READY=1\nSTATUS=up\n") << name;
        EXPECT_FALSE(platform::connectServiceManager().valid()) << "no program that is started speaks for this one";
    }
}

TEST(ConsoleLine, bodiesAreBoundedAndOfOneLine) {
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {"", "text", ": text"},
        {"m", "a\r\nb\t\x7f\x01", ".m a\\x0d\\x0ab\\x09\\x7f\\x01"},
        {"m", "\x7f", ".m \\x7f"},
        {"m", "0123456789abcdef\n", ".m 0123456789abcdef\\x0a"},
        {"m", "caf\xc3\xa9 \xe2\x82\xac", ".m caf\xc3\xa9 \xe2\x82\xac"},
        {"m", "\xc2\x80\xc2\xa0\xc2\x9f", ".m \\xc2\\x80\xc2\xa0\\xc2\\x9f"},
        {"m", "\xd8\x9c\xe2\x80\x8f", ".m \\xd8\\x9c\\xe2\\x80\\x8f"},
        {"m", "\xe2\x80\xa8\xe2\x80\xaf", ".m \\xe2\\x80\\xa8\xe2\x80\xaf"},
        {"m", "\xe2\x81\xa6\xf0\x9f\x99\x82", ".m \\xe2\\x81\\xa6\xf0\x9f\x99\x82"},
        {"m", "\x9b\xc3(\xed\xa0\x80", ".m \\x9b\\xc3(\\xed\\xa0\\x80"},
        {"m", "\xe0\x81\x81\xe2\x80", ".m \\xe0\\x81\\x81\\xe2\\x80"},
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
    for (const unsigned lines : {3U, 6U}) {
        for (const LogCategory category : {LogCategory::Trace, LogCategory::Error, LogCategory::Trace}) {
            log(category, "text");
            ASSERT_TRUE(console->flush(30'000));
        }
        EXPECT_EQ(LogFile(directory.path("log")).count("*", "Class.method", "text"), lines);
        // As two programs have it whose output goes to one file.
        for (const LogCategory category : {LogCategory::Trace, LogCategory::Error}) {
            console->setStream(category, std::fopen(directory.path("log").c_str(), "r+"), "shared");
        }
    }
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
    const std::time_t now = std::time(nullptr);
    char month[8];
    std::strftime(month, sizeof month, "-%m-", std::localtime(&now));
    EXPECT_THAT(written, ::testing::HasSubstr(month));
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

TEST_F(ConsoleTest, aFullSystemLogDelaysNothingAndItsLossIsCounted) {
    constexpr unsigned kLines = 3000;
    console = Console::current();  // who tells of the system log
    auto daemon = std::make_unique<Daemon>(directory.path("socket"));
    platform::setSystemLogPath(directory.path("socket").c_str());
    Console::setSystemLogSink(nullptr);
    for (const LogCategory category : kAll) {
        console->setStream(category, "null");
    }
    console->setStream(LogCategory::Trace, file("log"));
    for (unsigned i = 0; i < kLines; ++i) {
        log(LogCategory::Trace, String("line " + toString(i) + String::copy(std::string(100, 'x').c_str())));
    }
    ASSERT_TRUE(console->flush(5000));
    EXPECT_EQ(LogFile(directory.path("log")).count("TRACE", "Class.method", "*"), kLines);
    console->setStream(LogCategory::Warning, file("log"));  // empties it
    EXPECT_THAT(daemon->receive(),
                ContainsRegex("^<14>[A-Z][a-z][a-z] [ 1-3][0-9] [0-9:]{8} runtime_test\\[" +
                              std::to_string(::getpid()) + "\\]: \\[main\\] TRACE Class.method line 0x+$"));
    unsigned taken = 2;  // that one, and the one that says what was lost
    for (std::string next; (next = daemon->receive()).find("not taken") == std::string::npos && !next.empty();) {
        ++taken;
    }
    const unsigned long lost = reported("not taken by the system log");
    EXPECT_TRUE(lost > 0 && taken + lost == kLines + 1) << lost;

    daemon = std::make_unique<Daemon>(directory.path("socket"));  // started anew
    log(LogCategory::Error, "after");
    console->flush(5000);
    EXPECT_THAT(daemon->receive(), StartsWith("<11>"));
    platform::systemLog(LogCategory::Trace, String::copy(std::string(400'000, 'x').c_str()));
    EXPECT_GT(daemon->receive().size(), 50'000U) << "cut to what a datagram takes";
    for (int i = 0; i < 1000; ++i) {
        platform::systemLog(LogCategory::Trace, "short");
    }
    EXPECT_GT(platform::systemLogState(true).lost, 0U) << "what waited in vain to the end";
    Console::setSystemLogSink([](LogCategory, const String&) {});
    for (const LogCategory category : kAll) {
        console->setStream(category, "stdout");
    }
}

TEST_F(ConsoleTest, aPipeThatNobodyReadsStopsNoFileAndItsLossIsCounted) {
    constexpr long kLines = 20'000;
    const auto begun = std::chrono::steady_clock::now();
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    console->setStream(LogCategory::Trace, ::fdopen(ends[1], "w"), "pipe");
    console->setStream(LogCategory::Warning, file("log"));
    for (long i = 0; i < kLines; ++i) {
        log(LogCategory::Trace, String("line " + toString(i)));
    }
    log(LogCategory::Warning, "beside it");
    EXPECT_FALSE(console->flush(30'000)) << "and says so at once";
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(15));
    EXPECT_THAT(written("log"), EndsWith("beside it\n"));
    std::string text(1 << 14, '\0');
    ASSERT_EQ(::read(ends[0], text.data(), text.size()), 1 << 14);
    log(LogCategory::Trace, String("line " + toString(kLines)));  // there is room, for those that are held
    std::thread reader([&] {
        std::string piece(1 << 16, '\0');
        for (ssize_t n = 0; (n = ::read(ends[0], piece.data(), piece.size())) > 0;) {
            text.append(piece, 0, static_cast<std::size_t>(n));
        }
    });
    const auto lost = static_cast<long>(reported("lost: their destination did not accept them"));
    console->setStream(LogCategory::Trace, "null");  // closes it
    reader.join();
    std::vector<long> numbers;
    for (std::size_t at = 0; (at = text.find(" line ", at)) != std::string::npos;) {
        numbers.push_back(std::stol(text.substr(at += 6)));
    }
    EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
    ::close(ends[0]);
    EXPECT_TRUE(lost > 0 && static_cast<long>(numbers.size()) + lost == kLines + 1) << lost;
}

TEST_F(ConsoleTest, theQueueIsBoundedAndWhatItDropsIsCounted) {
    console->setStream(LogCategory::Error, "null");
    console->setStream(LogCategory::Warning, file("log"));
    Console::setSystemLogSink([](LogCategory, const String&) {
        sinkEntered.release();
        sinkMayLeave.acquire();
    });
    log(LogCategory::Error, "held");
    sinkEntered.acquire();
    Console::setSystemLogSink([](LogCategory, const String&) {});
    constexpr unsigned kLong = 20;
    constexpr unsigned kBytes = 1024 * 1024;
    const String text = String::copy(std::string(kBytes - sizeof "mainClassmethod" + 1, 'x').c_str());
    for (unsigned i = 0; i < kLong; ++i) {
        log(LogCategory::Error, text);
    }
    constexpr unsigned kShort = 2000;
    for (unsigned i = 0; i < Console::kMostQueuedLines + kShort; ++i) {
        log(LogCategory::Error, "short");
    }
    sinkMayLeave.release();
    const unsigned long dropped = reported("dropped: more came than could be written");
    EXPECT_GE(dropped, kLong + kShort);
    EXPECT_LT(dropped, kLong + kShort + 500) << "but for records that threads keep";
}

TEST_F(ConsoleTest, aSinkThatRaisesAndMemoryThatEndsCostALineAtMost) {
    console->setStream(LogCategory::Trace, file("log"));
    Console::setSystemLogSink([](LogCategory, const String&) { throw 5; });
    log(LogCategory::Trace, "raised");
    EXPECT_TRUE(console->flush(30'000));
    for (unsigned long number = 1; number < 60; ++number) {
        test::failAllocation(number);
        console->log(LogCategory::Trace, "thread", "Class", "method", "doubtful\n");
        console->flush(30'000);
        test::failAllocation(0);
        log(LogCategory::Trace, String("certain " + toString(number)));
        ASSERT_TRUE(console->flush(30'000)) << number;
        EXPECT_THAT(written("log"), EndsWith("certain " + std::to_string(number) + "\n"));
    }
}

TEST_F(ConsoleTest, aFileThatIsNotOursGivesWayToOneInTheUsersDirectory) {
    const PrivateHome home;
    ASSERT_EQ(::symlink("elsewhere", directory.path("log").c_str()), 0);
    console->setStreams(file("log"), "own.log");
    const String own = File::getUserApplicationDataDirectory() + "own.log";
    for (const LogCategory category : kAll) {
        EXPECT_EQ(console->getFilename(category), own);
    }
    EXPECT_TRUE(console->flush(30'000));
    EXPECT_THAT(readFile(own.str()), EndsWith("cannot be written, the log goes to " + std::string(own.view()) + "\n"));
    EXPECT_FALSE(console->setStream(LogCategory::Trace, file("log")));
    EXPECT_EQ(console->getFilename(LogCategory::Trace), "null");
}

}  // namespace
}  // namespace tessel
