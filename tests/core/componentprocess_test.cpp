// SPDX-License-Identifier: Apache-2.0
// What becomes of a session whose component does what none may.

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <fstream>
#include <map>
#include <string_view>

#include "apps/nebrix-component-host/confinement.h"
#include "tests/core/drivertest.h"

namespace tessel::test {
namespace {

using enum sign::ComponentKind;

/// What cannot be seen in a build with sanitizers: the thread sanitizer's dlopen() lets no exception pass.
bool isHidden(std::string_view habit) {
    return !kMemoryCanBeWatched && (habit == "DllGetErrors2=gulp" || habit == "constructor=throw");
}

class ComponentProcessTest : public DriverTest {
protected:
    ComponentProcessTest() {
        // What is to end the process would be caught by the sanitizers otherwise.
        for (const char* const name : {"ASAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"}) {
            const char* const before = getenv(name);
            const std::string options = before == nullptr ? "" : std::string(before) + ":";
            setenv(name, (options + "handle_segv=0:handle_sigbus=0:handle_abort=0").c_str(), 1);
        }
        gateway::GatewayOptions options = nebrix::test::recordingComponents();
        for (auto& [type, library] : options.libraries) {
            library = NEBRIX_TEST_COMPONENTS "/libtest-zoo.so";
        }
        options.continuedPosts = 1;
        serve(std::move(options));
    }
    ~ComponentProcessTest() override { unsetenv("NEBRIX_TEST_ZOO"); }

    static void teach(const std::string& habits) { setenv("NEBRIX_TEST_ZOO", habits.c_str(), 1); }
    [[nodiscard]] String end() const { return describe(m_client->account().end()); }
    static bool noProcessIsLeft() { return ::waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD; }
    void waitForCall(const std::string& entry) const {
        for (int i = 0; i < 1000 && calls().find(entry) == std::string::npos; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
};

TEST_F(ComponentProcessTest, everyEndIsSurvivedAndTold) {
    const std::tuple<ComponentType, const char*, const char*> cases[] = {
        {PluginDll, "constructor=segv", "the component's process ended in dlopen: it was ended by signal 11 (SIGSEGV)"},
        {PluginDll, "constructor=throw", "the component failed in dlopen: of the zoo"},
        {PluginDll, "DllCreatePluginFrontal=throw", "the component failed in DllCreatePluginFrontal: of the zoo"},
        {PluginDll, "DllSetProxy2=exit3",
         "the component's process ended in DllSetProxy2: it ended its process with status 3"},
        {PluginDll, "DllSetTicket2=abort",
         "the component's process ended in DllSetTicket2: it was ended by signal 6 (SIGABRT)"},
        {PluginDll, "DllStart2=exit0",
         "the component's process ended in DllStart2: it ended its process with status 0"},
        {PluginDll, "DllGetErrors2@2=quit0",
         "the component's process ended in DllGetErrors2: it ended its process with status 0"},
        {PluginDll, "DllGetErrors2=stack",
         "the component's process ended in DllGetErrors2: it was ended by signal 11 (SIGSEGV)"},
        {PluginDll, "DllGetErrors2=throwint", "the component failed in DllGetErrors2"},
        {PluginDll, "DllGetErrors2=later",
         "the component's process ended between two calls: it ended its process with status 3"},
        {PluginDll, "DllGetErrors2=gulp", "the component took more memory than it may have, 2048 MiB"},
        {PluginDllNoTunnel, "LaunchSafeResource=bus",
         "the component's process ended in LaunchSafeResource: it was ended by signal 7 (SIGBUS)"},
        {PluginDllNoTunnel, "LaunchSafeResource=throw", "the component failed in LaunchSafeResource: of the zoo"},
        {Hostchecker, "GetValidRules@2=quit3",
         "the component's process ended in GetValidRules: it ended its process with status 3"},
        {Hostchecker, "InitHostCheckerDll=throw", "the component failed in InitHostCheckerDll: of the zoo"}};
    for (const auto& [type, habit, sentence] : cases) {
        if (isHidden(habit)) {
            continue;
        }
        teach(habit);
        EXPECT_EQ(run(type).back(), "fatal-error") << habit;
        EXPECT_STREQ(end().str(), sentence) << habit;
        EXPECT_TRUE(noProcessIsLeft()) << habit;
    }
    teach("");
    EXPECT_EQ(run(PluginDllNoTunnel).back(), "status 4");
}

TEST_F(ComponentProcessTest, whateverBlocksIsGivenUpSoonAfterTheUser) {
    const std::pair<ComponentType, const char*> cases[] = {{PluginDll, "constructor"},
                                                           {PluginDll, "DllStart2"},
                                                           {PluginDll, "DllGetErrors2"},
                                                           {PluginDllNoTunnel, "LaunchSafeResource"},
                                                           {Hostchecker, "GetValidRules"}};
    for (const auto& [type, entry] : cases) {
        std::filesystem::remove(recordedCalls());
        teach(std::string(entry) + "=block");
        m_notify.clear();
        start(type);
        waitForCall(entry == std::string("constructor") ? "" : entry);
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        m_client->cancel();
        EXPECT_TRUE(m_client->join(2000)) << entry;
        EXPECT_EQ(end(), "the user ended it") << entry;
        EXPECT_EQ(m_notify.lines().back(), "status 4") << entry;
        EXPECT_TRUE(noProcessIsLeft()) << entry;
    }
}

TEST_F(ComponentProcessTest, aSilentEntryIsToldAndMayComeBackAndAStopHasFiveSeconds) {
    teach("DllGetErrors2@2=slow,DllStop2=block,DllStart2=print");
    start(PluginDll);
    ASSERT_TRUE(m_notify.waitFor("vpn connected ip=10.0.0.7"));
    const unsigned whileItPrinted = m_progress.silences();  // on a slow machine
    ASSERT_TRUE(m_notify.waitFor("vpn connected ip=10.0.0.7", 3));
    EXPECT_EQ(m_progress.silences() - whileItPrinted, 2U);
    EXPECT_TRUE(logged("TRACE Component.output zzz"));
    EXPECT_TRUE(logged("WARNING Component.output what the component prints further is not logged"));
    const auto begun = std::chrono::steady_clock::now();
    m_client->cancel();
    ASSERT_TRUE(m_client->join(7000));
    EXPECT_GE(std::chrono::steady_clock::now() - begun, ComponentProcess::kStop);
    EXPECT_EQ(m_notify.lines().back(), "status 4");
    EXPECT_TRUE(noProcessIsLeft());
}

/// The process of this one's only child.
std::string theChild() {
    std::string child;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream(thread.path() / "children") >> child;
    }
    return "/proc/" + child;
}

TEST_F(ComponentProcessTest, itsProcessHasNothingOfTheClients) {
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR2);
    pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
    const auto before = std::signal(SIGPIPE, SIG_IGN);
    start(PluginDll);
    ASSERT_TRUE(m_notify.waitFor("vpn connected ip=10.0.0.7"));
    const std::string host = theChild();
    std::map<std::string, int> kinds;
    for (const auto& descriptor : std::filesystem::directory_iterator(host + "/fd")) {
        const std::string file = std::filesystem::read_symlink(descriptor);
        const std::string kind = file.substr(0, file.find_first_of(":("));
        ++kinds[kind];
        if (kind == "/memfd") {
            const int library = ::open(descriptor.path().c_str(), O_RDWR | O_CLOEXEC);
            EXPECT_LT(::pwrite(library, "", 1, 0), 0);
            ::close(library);
        }
    }
    const std::map<std::string, int> expected{{"/dev/null", 1}, {"socket", 4}, {"/memfd", 2}};
    EXPECT_EQ(kinds, expected);
    const std::string status = nebrix::test::readFile(host + "/status");
    constexpr unsigned long kOrdinarySignals = 0x7fffffff;  // the C library ignores one of its own
    for (const char* const mask : {"SigBlk:", "SigIgn:"}) {
        EXPECT_EQ(std::stoul(status.substr(status.find(mask) + 8), nullptr, 16) & kOrdinarySignals, 0U) << status;
    }
    m_client->cancel();
    EXPECT_TRUE(m_client->join(7000));
    pthread_sigmask(SIG_UNBLOCK, &blocked, nullptr);
    std::signal(SIGPIPE, before);
}

TEST_F(ComponentProcessTest, whatMayTakeLongIsNotSilent) {
    const std::pair<ComponentType, const char*> cases[] = {{PluginDllNoTunnel, "LaunchSafeResource=slow"},
                                                           {Hostchecker, "GetValidRules@2=slow"}};
    for (const auto& [type, habit] : cases) {
        teach(habit);
        EXPECT_EQ(run(type).back(), "status 4") << habit;
        EXPECT_EQ(m_progress.silences(), 0U) << habit;
    }
}

}  // namespace
}  // namespace tessel::test
