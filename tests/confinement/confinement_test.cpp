// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <functional>

#include "apps/component/hostoptions.h"
#include "apps/nebrix-component-host/confinement.h"
#include "libs/base/platform.h"
#include "tests/support/temporarydirectory.h"

// Each case runs in a process of its own, which gives its power up for good.
using namespace tessel;
using nebrix::test::TemporaryDirectory;
using ::testing::HasSubstr;

namespace {

/// The exit status of a child that does this; 128 and the signal's number when one ended it.
int statusOf(const std::function<int()>& work) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(work());
    }
    const platform::ProcessEnd end = platform::reapProcess(child);
    return end.signal != 0 ? 128 + end.signal : end.status;
}

/// 0, or the errno of what failed.
int errnoOf(bool succeeded) { return succeeded ? 0 : errno; }
bool opens(const std::string& path, int flags) { return Descriptor(::open(path.c_str(), flags, 0600)).valid(); }

/// What root may see is not the question.
void becomeOrdinary() {
    constexpr uid_t kNobody = 65534;
    if (::getuid() == 0 && ::setresuid(kNobody, kNobody, kNobody) != 0) {
        ::abort();
    }
    ::prctl(PR_SET_DUMPABLE, 1);  // which a change of user takes away
}

struct Attempt {
    const char* what;
    std::function<bool()> succeeds;
    int expected;  // errno
};

bool readsMemoryOf(pid_t process) {
    static char same[] = "memory";  // at the same address in both
    char seen[sizeof same];
    const iovec to{seen, sizeof seen};
    const iovec from{same, sizeof same};
    return ::process_vm_readv(process, &to, 1, &from, 1, 0) == sizeof same;
}

std::vector<Attempt> looksInto(pid_t process, int expected) {
    const std::string proc = "/proc/" + std::to_string(process);
    return {
        {"memory", [=] { return opens(proc + "/mem", O_RDONLY); }, expected},
        {"descriptors", [=] { return opens(proc + "/fd/0", O_RDONLY); }, expected},
        {"environment", [=] { return opens(proc + "/environ", O_RDONLY); }, expected},
        {"readv", [=] { return readsMemoryOf(process); }, expected == 0 ? 0 : EPERM},
        {"trace", [=] { return ::ptrace(PTRACE_SEIZE, process, nullptr, nullptr) == 0; }, expected == 0 ? 0 : EPERM}};
}

}  // namespace

TEST(Confinement, nobodyOfTheSameUserSeesIntoAHiddenProcess) {
    for (const bool hidden : {false, true}) {
        const int status = statusOf([hidden] {
            becomeOrdinary();
            if (hidden ? !platform::hideFromTracers() : !platform::admitTracers()) {
                return 1;
            }
            for (const Attempt& attempt : looksInto(::getpid(), hidden ? EACCES : 0)) {
                EXPECT_EQ(statusOf([&] { return errnoOf(attempt.succeeds()); }), attempt.expected) << attempt.what;
            }
            return ::testing::Test::HasFailure() ? 1 : 0;
        });
        EXPECT_EQ(status, 0) << hidden;
    }
}

TEST(Confinement, aHostCheckerOnlyLooks) {
    const TemporaryDirectory own;
    const TemporaryDirectory other;
    const std::string theirs = other.write("theirs", "text");
    const std::string inside = own.path("file");
    const std::vector<Attempt> attempts = {
        {"reads", [&] { return opens(theirs, O_RDONLY) && opens("/etc/passwd", O_RDONLY); }, 0},
        {"writes into its own", [&] { return opens(inside, O_WRONLY | O_CREAT); }, 0},
        {"writes to nowhere", [] { return opens("/dev/null", O_WRONLY | O_TRUNC); }, 0},
        {"starts programs", [] { return std::system("test -n \"$TMPDIR\" && mktemp >/dev/null") == 0; }, 0},
        {"writes", [&] { return opens(theirs, O_WRONLY); }, EACCES},
        {"truncates", [&] { return ::truncate(theirs.c_str(), 0) == 0; }, EACCES},
        {"makes a file", [&] { return opens(other.path("new"), O_WRONLY | O_CREAT); }, EACCES},
        {"removes", [&] { return ::unlink(theirs.c_str()) == 0; }, EACCES},
        {"takes away", [&] { return ::rename(theirs.c_str(), own.path("x").c_str()) == 0; }, EACCES},
        {"signals", [] { return ::kill(::getppid(), SIGCONT) == 0; }, EPERM},
        {"traces", [] { return ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0; }, EPERM},
        {"reads memory", [] { return readsMemoryOf(::getppid()); }, EPERM},
        {"mounts", [&] { return ::mount("none", own.path("").c_str(), "tmpfs", 0, nullptr) == 0; }, EPERM},
        {"lets go of rights", [] { return ::setuid(::getuid()) == 0; }, 0},
    };
    for (const Attempt& attempt : attempts) {
        const int status = statusOf([&] {
            const std::vector<String> missing = confine(String(own.path("").c_str()), HostOptions());
            return missing.empty() ? errnoOf(attempt.succeeds()) : 200;
        });
        EXPECT_EQ(status, attempt.expected) << attempt.what;
    }
}

TEST(Confinement, aPlugInKeepsItsWayAndGainsRights) {
    const TemporaryDirectory other;
    EXPECT_EQ(statusOf([&] {
                  const bool free = confine(String(), HostOptions()).empty() &&
                                    opens(other.path("new"), O_WRONLY | O_CREAT) &&
                                    ::prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0) == 0;
                  return free && !opens("/proc/self/does-not-exist", O_RDONLY) ? ::prctl(PR_GET_DUMPABLE) : 200;
              }),
              0);
}

TEST(Confinement, whoeverHasTooMuchMemoryEndsAndSaysSo) {
    if (!kMemoryCanBeWatched) {
        GTEST_SKIP() << "the sanitizer's own memory cannot be told from the component's";
    }
    testing::internal::CaptureStderr();
    const auto take = [](std::size_t mebibytes, unsigned limit) {
        return statusOf([=] {
            watchMemory(limit);
            static void* volatile taken = ::malloc(mebibytes << 20U);
            ::poll(nullptr, 0, taken != nullptr && limit != 0 && mebibytes > limit ? 20'000 : 700);
            return 0;
        });
    };
    EXPECT_EQ(take(64, 512), 0);
    EXPECT_EQ(take(512, 0), 0);
    EXPECT_EQ(take(512, 256), kMemoryLimitStatus);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("MiB of memory, and may have 256 MiB\n"));
}

TEST(Confinement, theDebuggerIsWaitedForUntilTheClientGoes) {
    for (const bool traced : {true, false}) {
        int ends[2];
        ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
        const pid_t host = ::fork();
        if (host == 0) {
            ::close(ends[0]);
            ::_exit(waitForDebugger(ends[1]) ? 10 : 20);
        }
        ::close(ends[1]);
        EXPECT_EQ(::waitpid(host, nullptr, WNOHANG), 0);
        if (traced) {
            EXPECT_EQ(::ptrace(PTRACE_SEIZE, host, nullptr, nullptr), 0);
        } else {
            ::close(ends[0]);
        }
        EXPECT_EQ(platform::reapProcess(host).status, traced ? 10 : 20);
        if (traced) {
            ::close(ends[0]);
        }
    }
}
