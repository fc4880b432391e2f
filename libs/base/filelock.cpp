// SPDX-License-Identifier: Apache-2.0
#include "libs/base/filelock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

#include "libs/base/file.h"

namespace tessel {

FileLock::FileLock(const String& path) noexcept
    : m_descriptor(::open(path.str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR)) {}

FileLock::FileLock(const String& path, const std::function<bool()>& goOn) : FileLock(File::normalise(path)) {
    constexpr std::chrono::milliseconds kNap(20);
    while (m_descriptor >= 0 && !m_held) {
        m_held = ::flock(m_descriptor, LOCK_EX | LOCK_NB) == 0;
        if (m_held || (errno != EWOULDBLOCK && errno != EINTR) || !goOn()) {
            return;
        }
        std::this_thread::sleep_for(kNap);
    }
}

FileLock::FileLock(FileLock&& other) noexcept
    : m_descriptor(std::exchange(other.m_descriptor, -1)), m_held(std::exchange(other.m_held, false)) {}

FileLock::~FileLock() {
    if (m_descriptor >= 0) {
        ::close(m_descriptor);
    }
}

}  // namespace tessel
