// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>

namespace tessel {

/// What a fork does to the toolkit, which goes on in the child with one thread only.
///
/// Lines are written, and destinations changed, between the constructor and the destructor of an Inside. fork() waits
/// until nobody else is inside, so that no lock is held in the child by a thread that is not there. Where that takes
/// longer than kLimit (a disk that hangs, a sink that blocks) the child is mute: it logs nothing.
///
/// Protocol: who comes in counts himself first and then looks whether the gate is closed, who forks closes first and
/// then looks at the count, all in one total order, so that one of the two always sees the other.
class ForkGate {
public:
    static constexpr unsigned kLimit = 200;  // milliseconds

    class Inside {
    public:
        Inside() noexcept { enter(); }
        Inside(const Inside&) = delete;
        Inside& operator=(const Inside&) = delete;
        ~Inside() { leave(); }
    };

    /// Has fork() call what is here (pthread_atfork). In the child that changes a few words and nothing else, as a
    /// child that is about to become another program may demand.
    static void install() noexcept;

    /// The number of forks between the program's start and this process: what was made under another number and has
    /// a thread has none here.
    static unsigned generation() noexcept { return s_generation.load(std::memory_order_relaxed); }
    static bool mute() noexcept { return s_mute.load(std::memory_order_relaxed); }

private:
    static void enter() noexcept;
    static void leave() noexcept;
    static void beforeFork() noexcept;
    static void inParent() noexcept;
    static void inChild() noexcept;

    // What every line written changes, and on another cache line what everybody reads.
    alignas(64) static inline constinit std::atomic<unsigned> s_inside{0};
    static inline constinit std::atomic<unsigned> s_closed{0};  // by so many forks at once
    alignas(64) static inline constinit std::atomic<unsigned> s_generation{0};
    static inline constinit std::atomic<bool> s_mute{false};
};

}  // namespace tessel
