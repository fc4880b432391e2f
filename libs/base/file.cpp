// SPDX-License-Identifier: Apache-2.0
#include "libs/base/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include "libs/base/filedetail.h"
#include "libs/base/runtimesites.h"

namespace tessel {

namespace {

constexpr unsigned kBufferSize = 64 * 1024;
// From here on the copy into the buffer costs more than the system call it saves.
constexpr unsigned kDirect = 8 * 1024;

/// The system's flags for a mode, or -1 for a combination that makes no sense.
int systemFlags(unsigned mode) noexcept {
    const bool reads = (mode & File::kIn) != 0;
    const bool appends = (mode & File::kAppend) != 0;
    const bool writes = (mode & File::kOut) != 0 || appends;
    const bool truncates = (mode & File::kTruncate) != 0;
    if (!reads && !writes) {
        return -1;
    }
    if (truncates && (!writes || appends)) {
        return -1;
    }
    int flags = O_CLOEXEC | (!writes ? O_RDONLY : reads ? O_RDWR : O_WRONLY);
    if (truncates) {
        flags |= O_CREAT | O_TRUNC;
    }
    if (appends) {
        flags |= O_CREAT | O_APPEND;
    }
    return flags;
}

}  // namespace

File::~File() { close(); }

bool File::open(const String& path, unsigned mode) {
    close();
    if ((mode & kOut) != 0 && (mode & (kIn | kAppend)) == 0) {
        mode |= kTruncate;
    }
    const int flags = systemFlags(mode);
    const String system = systemPath(path);
    m_descriptor = flags < 0 ? -1 : ::open(system.str(), flags, 0666);
    if (m_descriptor < 0) {
        return false;
    }
    if ((mode & (kOut | kAppend)) != 0) {
        m_state = State::Writing;
        // Everybody may do everything with what this class writes, deliberately.
        static_cast<void>(::fchmod(m_descriptor, 0777));
    } else {
        m_state = State::Reading;
    }
    if ((mode & kAtEnd) != 0) {
        ::lseek(m_descriptor, 0, SEEK_END);
    }
    m_appends = (mode & kAppend) != 0;
    m_path = system;
    return true;
}

void File::close() noexcept {
    if (!isOpened()) {
        return;
    }
    try {
        flush();
    } catch (const EFile&) {
        // As the contract says.
    }
    ::close(m_descriptor);
    m_descriptor = -1;
    m_state = State::Closed;
    m_begin = m_end = 0;
    m_dirty = false;
}

std::uint64_t File::wideSize() const {
    struct stat status {};
    if (!isOpened() || ::fstat(m_descriptor, &status) != 0) {
        return 0;
    }
    const auto length = static_cast<std::uint64_t>(status.st_size);
    return m_dirty ? std::max(length, position()) : length;
}

std::uint64_t File::position() const {
    // What is appended goes to the end, wherever the system's position is until then.
    const off_t found = ::lseek(m_descriptor, 0, m_dirty && m_appends ? SEEK_END : SEEK_CUR);
    const auto system = static_cast<std::uint64_t>(std::max<off_t>(0, found));
    const std::uint64_t ahead = m_end - m_begin;
    return m_dirty ? system + m_end : system - std::min(system, ahead);
}

std::uint64_t File::left() const {
    const std::uint64_t at = position();
    return std::max(at, wideSize()) - at;
}

unsigned File::told(std::uint64_t bytes) const {
    if (bytes > UINT_MAX) {
        raiseFile(sites::kFileTooLong, m_path, EFBIG);
    }
    return static_cast<unsigned>(bytes);
}

unsigned File::size() const { return told(wideSize()); }
unsigned File::sizeToRead() const { return told(left()); }
unsigned File::getReadPos() const { return isOpened() ? told(position()) : 0; }

void File::setReadPos(unsigned position) {
    flush();
    m_begin = m_end = 0;
    if (!isOpened() || ::lseek(m_descriptor, position, SEEK_SET) < 0) {
        raiseFile(sites::kFileSeek, m_path);
    }
}

void File::fill() {
    if (m_buffer == nullptr) {
        m_buffer = std::make_unique_for_overwrite<char[]>(kBufferSize);
    }
    m_begin = m_end = 0;
    ssize_t got = 0;
    do {
        got = ::read(m_descriptor, m_buffer.get(), kBufferSize);
    } while (got < 0 && errno == EINTR);
    if (got < 0) {
        raiseFile(sites::kFileRead, m_path);
    }
    m_end = static_cast<unsigned>(got);
}

unsigned File::read(char* buffer, unsigned n) {
    if (m_dirty) {
        flush();
    }
    unsigned done = 0;
    while (done < n) {
        if (m_begin == m_end) {
            fill();
            if (m_end == 0) {
                break;
            }
        }
        const unsigned piece = std::min(n - done, m_end - m_begin);
        std::memcpy(buffer + done, m_buffer.get() + m_begin, piece);
        m_begin += piece;
        done += piece;
    }
    return done;
}

void File::leaveReading() {
    if (m_dirty) {
        return;
    }
    if (m_begin != m_end) {
        // What was read ahead is not yet passed over.
        ::lseek(m_descriptor, -static_cast<off_t>(m_end - m_begin), SEEK_CUR);
    }
    m_begin = m_end = 0;
}

void File::write(const char* data, unsigned n) {
    if (m_state != State::Writing) {
        errno = EBADF;
        raiseFile(sites::kFileWrite, m_path);
    }
    leaveReading();
    if (n >= kDirect) {
        flush();
        writeAll(data, n);
        return;
    }
    if (m_buffer == nullptr) {
        m_buffer = std::make_unique_for_overwrite<char[]>(kBufferSize);
    }
    if (n > kBufferSize - m_end) {
        flush();
    }
    if (n > 0) {
        std::memcpy(m_buffer.get() + m_end, data, n);
        m_end += n;
        m_dirty = true;
    }
}

void File::writeAll(const char* data, unsigned n) {
    while (n > 0) {
        const ssize_t written = ::write(m_descriptor, data, n);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            raiseFile(sites::kFileWrite, m_path);
        }
        data += written;
        n -= static_cast<unsigned>(written);
    }
}

void File::flush() {
    if (!m_dirty) {
        return;
    }
    const unsigned length = std::exchange(m_end, 0);
    m_dirty = false;
    writeAll(m_buffer.get(), length);
}

void File::synchronise() {
    flush();
    if (::fsync(m_descriptor) != 0) {
        raiseFile(sites::kFileWrite, m_path);
    }
}

}  // namespace tessel
