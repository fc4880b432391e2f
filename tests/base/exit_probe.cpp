// Ends in the way that its argument names; the exit test looks at what comes out.
#include <pthread.h>

#include <cstdio>
#include <string>

#include "libs/base/console.h"
#include "libs/base/gcobject.h"
#include "libs/base/semaphore.h"
#include "libs/base/thread.h"

namespace {

using tessel::LogCategory;

/// Logs before main() and after it.
struct EarlyAndLate {
    EarlyAndLate() { tessel::log(LogCategory::Error, "Static", "constructor", "before main"); }
    ~EarlyAndLate() { tessel::log(LogCategory::Error, "Static", "destructor", "after main"); }
} earlyAndLate;

/// Sleeps, drops what it holds, and ends with nobody left to join it.
class Waiter final : public tessel::Thread {
public:
    Waiter(const char* name, unsigned milliseconds, bool synchronised)
        : Thread(name, 0, synchronised), m_milliseconds(milliseconds) {}
    tessel::gc::Pointer<tessel::gc::ObjectDispose> held;

protected:
    void main() override {
        ::pthread_detach(::pthread_self());
        tessel::Semaphore().acquire(m_milliseconds);
        held.clear();
    }

private:
    unsigned m_milliseconds;
};

void leaveLines() {
    tessel::Console::start();
    for (int i = 0; i < 1000; ++i) {
        tessel::log(LogCategory::Error, "Probe", "main", "line ", i);
    }
}

void leaveObject() {
    tessel::Console::start();
    // Reachable to the end, so that nobody takes it for a leak.
    static auto* const releaser = new Waiter("releaser", 300, false);
    releaser->held = new tessel::gc::ObjectDispose;
    releaser->run();
}

}  // namespace

int main(int, char** arguments) {
    const std::string how = arguments[1];
    if (how == "survivors") {
        (new Waiter("stubborn", 60'000, true))->run();
        (new Waiter("second", 60'000, true))->run();
    } else if (how == "lines") {
        leaveLines();
    } else if (how == "object") {
        leaveObject();
    } else if (how == "finishing") {
        // Reachable to the end, as above.
        static auto* const finishing = new Waiter("finishing", 300, true);
        finishing->run();
    }
    std::fprintf(stderr, "left main\n");
    return 0;
}
