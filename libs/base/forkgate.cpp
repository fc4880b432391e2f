// SPDX-License-Identifier: Apache-2.0
#include "libs/base/forkgate.h"

#include <pthread.h>

#include <chrono>
#include <thread>

namespace tessel {

namespace {

constexpr std::chrono::milliseconds kNap{1};

// How often the calling thread is inside, and whether its fork found nobody else there.
thread_local constinit unsigned insideHere = 0;
thread_local constinit bool foundEmpty = false;

}  // namespace

void ForkGate::install() noexcept { ::pthread_atfork(&ForkGate::beforeFork, &ForkGate::inParent, &ForkGate::inChild); }

void ForkGate::enter() noexcept {
    s_inside.fetch_add(1);
    while (s_closed.load() != 0 && insideHere == 0) {
        s_inside.fetch_sub(1);
        while (s_closed.load() != 0) {
            std::this_thread::sleep_for(kNap);
        }
        s_inside.fetch_add(1);
    }
    ++insideHere;
}

void ForkGate::leave() noexcept {
    --insideHere;
    s_inside.fetch_sub(1);
}

void ForkGate::beforeFork() noexcept {
    using std::chrono::steady_clock;
    s_closed.fetch_add(1);
    const auto end = steady_clock::now() + std::chrono::milliseconds(kLimit);
    foundEmpty = s_inside.load() == insideHere;
    while (!foundEmpty && steady_clock::now() < end) {
        std::this_thread::sleep_for(kNap);
        foundEmpty = s_inside.load() == insideHere;
    }
}

void ForkGate::inParent() noexcept { s_closed.fetch_sub(1); }

void ForkGate::inChild() noexcept {
    if (!foundEmpty) {
        s_mute.store(true);
    }
    s_inside.store(insideHere);
    s_closed.store(0);
    s_generation.fetch_add(1);
}

}  // namespace tessel
