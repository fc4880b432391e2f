// Ends in the way that its argument names; the exit test looks at what comes out.
#include <pthread.h>

#include <cstdio>
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

}  // namespace

int main(int, char** arguments) {
    const std::string how = arguments[1];
    // Reachable to the end, so that nobody takes it for a leak.
    static auto* const waiter = new Waiter("waiter", 300, how == "finishing");
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
    }
    std::fprintf(stderr, "left main\n");
    return 0;
}
