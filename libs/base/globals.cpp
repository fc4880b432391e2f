#include "libs/base/globals.h"

#include "libs/base/console.h"

namespace tessel {

namespace {

constexpr unsigned kConsoleLimit = 5000;

}  // namespace

Globals& Globals::instance() noexcept {
    // Reached from here for ever, and so no leak.
    static Globals* const globals = new Globals;
    static const struct ExitDoor {
        ~ExitDoor() { globals->shutDown(); }
    } door;
    return *globals;
}

Globals::Globals() { m_threads.init(); }

void Globals::shutDown() noexcept {
    m_synchroThread.waitAtExit();
    m_disposeGuard.wait();
    if (const auto console = Console::current()) {
        console->flush(kConsoleLimit);
        console->quit_and_join();
    }
}

namespace gc {

DisposeGuard& disposeGuard() noexcept { return Globals::instance().disposeGuard(); }

}  // namespace gc

}  // namespace tessel
