// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <mutex>

namespace tessel {

/// What can be locked. Not recursive. lock() and unlock() are also the standard library's names, so that
/// std::lock_guard and std::unique_lock work on every implementation.
class IMutex {
public:
    virtual void lock() = 0;
    virtual bool try_lock() = 0;
    virtual void unlock() = 0;

    IMutex() = default;
    IMutex(const IMutex&) = delete;
    IMutex& operator=(const IMutex&) = delete;

protected:
    ~IMutex() = default;
};

/// A mutex of the system.
class Mutex final : public IMutex {
public:
    void lock() override { m_mutex.lock(); }
    bool try_lock() override { return m_mutex.try_lock(); }
    void unlock() override { m_mutex.unlock(); }

private:
    std::mutex m_mutex;
};

/// Does nothing: for code that takes a mutex where only one thread runs.
class NoMutex final : public IMutex {
public:
    void lock() override {}
    bool try_lock() override { return true; }
    void unlock() override {}
};

using Lock = std::lock_guard<IMutex>;
using UniqueLock = std::unique_lock<IMutex>;

}  // namespace tessel
