// Ends in the way that its argument names; the exit test looks at what comes out.
#include <pthread.h>

#include <cstdio>
#include <cstring>

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

class Waiter final : public tessel::Thread {
public:
    Waiter(const char* name, unsigned milliseconds) : Thread(name, 0, true), m_milliseconds(milliseconds) {}

protected:
    void main() override {
        // Nobody is left to join it.
        ::pthread_detach(::pthread_self());
        m_never.acquire(m_milliseconds);
    }

private:
    unsigned m_milliseconds;
    tessel::Semaphore m_never;
};

void leaveSurvivors() {
    for (const char* name : {"stubborn", "second"}) {
        (new Waiter(name, 60'000))->run();
    }
}

void leaveLines() {
    tessel::Console::start();
    for (int i = 0; i < 1000; ++i) {
        tessel::log(LogCategory::Error, "Probe", "main", "line ", i);
    }
}

void leaveObject() {
    tessel::Console::start();
    // Never destroyed: another thread drops the last reference while the process ends.
    static auto& held = *new tessel::gc::Pointer<tessel::gc::ObjectDispose>;
    class Releaser final : public tessel::Thread {
    public:
        Releaser() : Thread("releaser", 0, false) {}

    protected:
        void main() override {
            ::pthread_detach(::pthread_self());
            tessel::Semaphore().acquire(300);
            held.clear();
        }
    };
    held = new tessel::gc::ObjectDispose;
    // Reachable to the end, so that nobody takes it for a leak.
    static Releaser* const releaser = new Releaser;
    releaser->run();
}

}  // namespace

int main(int, char** arguments) {
    const char* const how = arguments[1];
    if (std::strcmp(how, "survivors") == 0) {
        leaveSurvivors();
    } else if (std::strcmp(how, "lines") == 0) {
        leaveLines();
    } else if (std::strcmp(how, "object") == 0) {
        leaveObject();
    } else if (std::strcmp(how, "finishing") == 0) {
        (new Waiter("finishing", 300))->run();
    }
    std::fprintf(stderr, "left main\n");
    return 0;
}
