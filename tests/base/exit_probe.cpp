// SPDX-License-Identifier: Apache-2.0
// Ends in the way that its argument names; the exit test looks at what comes out.
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "libs/base/console.h"
#include "libs/base/gcobject.h"
#include "libs/base/semaphore.h"
#include "libs/base/thread.h"

namespace {

using namespace tessel;

/// Logs before main() and after it, with texts that are joined there and then.
struct EarlyAndLate {
    EarlyAndLate() { log(LogCategory::Error, "Static", "constructor", String::null + "before" + " main"); }
    ~EarlyAndLate() { log(LogCategory::Error, "Static", "destructor", String::null + "after" + early); }
    const String early = String::null + " " + "main";
} earlyAndLate;

/// Sleeps, drops what it holds, and ends with nobody left to join it.
struct Waiter final : Thread {
    Waiter(const char* name, unsigned milliseconds, bool synchronised)
        : Thread(name, 0, synchronised), m_milliseconds(milliseconds) {}
    gc::Pointer<gc::ObjectDispose> held;

protected:
    void main() override {
        ::pthread_detach(::pthread_self());
        Semaphore().acquire(m_milliseconds);
        held.clear();
    }

private:
    unsigned m_milliseconds;
};

/// Lets standard output be a pipe that nobody reads, and logs more than it holds.
void fillOutput() {
    int ends[2];
    if (::pipe(ends) != 0 || ::dup2(ends[1], STDOUT_FILENO) < 0) {
        std::abort();
    }
    Console::start();
    for (int i = 0; i < 20'000; ++i) {
        log(LogCategory::Error, "Probe", "main", "line ", i);
    }
}

/// Has no thread created any more.
void refuseThreads() {
    pthread_attr_t attributes;
    ::pthread_attr_init(&attributes);
    ::pthread_attr_setstacksize(&attributes, 1UL << 46U);
    ::pthread_setattr_default_np(&attributes);
    Console::start();
    log(LogCategory::Error, "Probe", "main", "written by its caller");
}

/// Forks while the console writes and there is all that an exit waits for; each child logs a line and exits.
void forkOften(Waiter& waiter) {
    Console::start();
    waiter.held = new gc::ObjectDispose;
    waiter.run();
    bool ended = true;
    for (int i = 0; i < 6; ++i) {
        for (int line = 0; line < 200; ++line) {
            log(LogCategory::Trace, "Probe", "main", "line ", line);
        }
        const pid_t child = ::fork();
        if (child == 0) {
            ::alarm(20);
            waiter.join();
            log(LogCategory::Error, "Probe", "main", "of the child");
            std::exit(0);
        }
        int status = -1;
        ended = ::waitpid(child, &status, 0) == child && status == 0 && ended;
    }
    Console::instance()->flush(30'000);
    ::_exit(ended ? 0 : 1);
}

}  // namespace

int main(int, char** arguments) {
    const std::string how = arguments[1];
    // Reachable to the end, so that nobody takes it for a leak.
    static auto* const waiter = new Waiter("waiter", 1000, how == "finishing");
    if (how == "survivors") {
        (new Waiter("stubborn", 60'000, true))->run();
        (new Waiter("second", 60'000, true))->run();
    } else if (how == "lines") {
        Console::start();
        for (int i = 0; i < 1000; ++i) {
            log(LogCategory::Error, "Probe", "main", "line ", i);
        }
    } else if (how == "object") {
        Console::start();
        waiter->held = new gc::ObjectDispose;
        waiter->run();
    } else if (how == "finishing") {
        waiter->run();
    } else if (how == "blocked") {
        fillOutput();
    } else if (how == "threadless") {
        refuseThreads();
    } else if (how == "forked") {
        forkOften(*new Waiter("parent's", 60'000, true));
    }
    std::fprintf(stderr, "left main\n");
    return 0;
}
