// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace tessel {

/// Something that a thread does when it ends, behind the destructors of its thread_local objects.
///
/// In place of a thread_local object with a destructor: the C library notes each of those in memory that it asks for at
/// the thread's first use of the object, and ends the process where there is none. This asks for none.
///
/// Constant-initialised and trivially destructible: `thread_local constinit ThreadExit t_exit{&function};`. What the
/// function looks after may still be used when it has run, and says by itself that it is over. The initial thread runs
/// none at the process's end, nor does a thread where the system has no key left (pthread_key_create).
class ThreadExit {
public:
    using Function = void (*)() noexcept;

    explicit constexpr ThreadExit(Function function) noexcept : m_function(function) {}

    /// The function is called when the calling thread ends, the one that was asked for last first. To be called once in
    /// a thread, on its own object.
    void arm() noexcept;

private:
    static void runAll(void* last) noexcept;

    const Function m_function;
    ThreadExit* m_before = nullptr;  // armed before this one in the same thread
};

}  // namespace tessel
