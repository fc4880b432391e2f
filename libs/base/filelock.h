// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

#include "libs/base/string.h"

namespace tessel {

/// An exclusive lock on a file, between processes and between objects of one process, that ends with the object and
/// with its process, however that ends (flock(2)). It is advice: nobody is kept from the file itself.
///
/// A small value that moves. The thread that destroys it may be another one than the one that made it.
class FileLock {
public:
    /// Makes the file, empty and for its owner alone, if there is none; it is never removed, since somebody may be
    /// waiting for it. While another one has the lock, waits as long as `goOn`, asked about fifty times a second, says
    /// so. Without an answer of the system (a directory that is missing, a file system without locks) it does not wait.
    FileLock(const String& path, const std::function<bool()>& goOn);
    FileLock(FileLock&& other) noexcept;
    FileLock& operator=(FileLock&&) = delete;
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;
    ~FileLock();

    [[nodiscard]] bool held() const noexcept { return m_held; }

private:
    explicit FileLock(const String& path) noexcept;

    int m_descriptor;
    bool m_held = false;
};

}  // namespace tessel
