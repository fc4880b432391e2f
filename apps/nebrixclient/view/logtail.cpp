// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/view/logtail.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace tessel::view {

namespace {

constexpr std::size_t kMarkBytes = 64;

/// Reads at most so many bytes at the offset, fewer at the file's end or where it cannot be read.
std::size_t readAt(int descriptor, std::uint64_t offset, char* to, std::size_t length) {
    std::size_t done = 0;
    while (done < length) {
        const ssize_t n = ::pread(descriptor, to + done, length - done, static_cast<off_t>(offset + done));
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            break;
        }
        done += static_cast<std::size_t>(n);
    }
    return done;
}

}  // namespace

LogTail::LogTail(const String& path, std::size_t firstBytes, std::size_t keepLines)
    : m_path(path), m_firstBytes(firstBytes), m_keepLines(std::max<std::size_t>(keepLines, 1)) {}

LogTail::~LogTail() { closeFile(); }

void LogTail::closeFile() noexcept {
    if (m_descriptor >= 0) {
        ::close(m_descriptor);
        m_descriptor = -1;
    }
}

LogTail::Change LogTail::poll(std::size_t budget) {
    struct stat status {};
    if (::stat(m_path.str(), &status) != 0) {
        return Change::Unreadable;
    }
    const bool known = m_descriptor >= 0;
    const bool same = known && status.st_dev == m_device && status.st_ino == m_file &&
                      static_cast<std::uint64_t>(status.st_size) >= m_end &&
                      (static_cast<std::uint64_t>(status.st_size) == m_end || sameContent());
    if (!same && !openFile()) {
        return Change::Unreadable;
    }
    const bool read = readAppended(budget);
    if (known && !same) {
        return Change::Restarted;
    }
    return read ? Change::Appended : Change::Nothing;
}

/// Opens what the path names now and begins anew; on failure everything stays as it is.
bool LogTail::openFile() {
    // Not blocked by a pipe in the file's place.
    const int descriptor = ::open(m_path.str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    struct stat status {};
    if (descriptor < 0 || ::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        if (descriptor >= 0) {
            ::close(descriptor);
        }
        return false;
    }
    closeFile();
    m_descriptor = descriptor;
    m_device = status.st_dev;
    m_file = status.st_ino;
    startAt(static_cast<std::uint64_t>(status.st_size));
    return true;
}

void LogTail::startAt(std::uint64_t size) {
    m_stays = false;
    begin(size > m_firstBytes ? size - m_firstBytes : 0);
}

/// Forgets everything, to read on from there.
void LogTail::begin(std::uint64_t offset) {
    m_lines.clear();
    m_heldBytes = 0;
    m_firstNumber = 0;
    m_partial.clear();
    m_partialBytes = 0;
    m_mark.clear();
    // One byte earlier: if that is a line feed, the first line is whole.
    m_begin = offset > 0 ? offset - 1 : 0;
    m_skipping = offset > 0;
    m_end = m_begin;
}

void LogTail::moveTo(std::uint64_t offset) {
    m_stays = true;
    begin(offset > kPiece ? offset - kPiece : 0);
}

bool LogTail::newest() {
    struct stat status {};
    if (!m_stays || ::fstat(m_descriptor, &status) != 0) {
        return false;
    }
    startAt(static_cast<std::uint64_t>(status.st_size));
    return true;
}

bool LogTail::isFull() const noexcept { return m_lines.size() >= m_keepLines || m_heldBytes >= kMostBytes; }

std::optional<LogPlace> LogTail::find(const LogQuery& query, std::optional<std::int64_t> behind,
                                      const std::function<bool()>& goOn) const {
    std::uint64_t from = behind ? m_begin : 0;
    std::int64_t number = m_firstNumber;
    for (auto held = m_lines.begin(); held != m_lines.end() && behind && number <= *behind; ++held, ++number) {
        from += held->bytes;
    }
    return searchLog(m_descriptor, query, from, goOn);
}

std::optional<std::int64_t> LogTail::numberAt(std::uint64_t offset) const {
    std::uint64_t at = m_begin;
    std::int64_t number = m_firstNumber;
    for (auto held = m_lines.begin(); held != m_lines.end() && at <= offset; ++held, ++number) {
        if (at == offset) {
            return number;
        }
        at += held->bytes;
    }
    return std::nullopt;
}

bool LogTail::sameContent() const {
    std::string now(m_mark.size(), '\0');
    now.resize(readAt(m_descriptor, m_end - m_mark.size(), now.data(), now.size()));
    return now == m_mark;
}

bool LogTail::readAppended(std::size_t budget) {
    std::string piece(std::min(budget, kPiece), '\0');
    std::size_t left = budget;
    while (left > 0 && !(m_stays && isFull())) {
        const std::size_t wanted = std::min(left, piece.size());
        const std::size_t length = readAt(m_descriptor, m_end, piece.data(), wanted);
        take({piece.data(), length});
        left -= length;
        if (length < wanted) {
            break;
        }
    }
    m_stays = m_stays && !atEnd();
    return left < budget;
}

bool LogTail::atEnd() const noexcept {
    struct stat status {};
    return ::fstat(m_descriptor, &status) != 0 || static_cast<std::uint64_t>(status.st_size) <= m_end;
}

bool LogTail::later() {
    if (!m_stays) {
        return false;
    }
    const auto behind = [this] { return m_firstNumber + static_cast<std::int64_t>(m_lines.size()); };
    const std::int64_t before = behind();
    m_stays = false;  // the oldest are dropped
    bool read = true;
    while (read && behind() == before) {  // a line may be longer than a piece
        read = readAppended(kPiece);
    }
    m_stays = !atEnd();
    return behind() > before;
}

void LogTail::take(std::string_view bytes) {
    m_end += bytes.size();
    m_mark.append(bytes.substr(bytes.size() - std::min(bytes.size(), kMarkBytes)));
    m_mark.erase(0, m_mark.size() - std::min(m_mark.size(), kMarkBytes));
    while (!bytes.empty()) {
        const std::size_t feed = bytes.find('\n');
        const std::string_view text = bytes.substr(0, feed);
        if (!m_skipping) {
            m_partial.append(text.substr(0, kLongestLine - m_partial.size()));
        }
        if (feed == std::string_view::npos) {
            m_partialBytes += text.size();
            return;
        }
        m_partialBytes += text.size() + 1;
        takeLine();
        bytes.remove_prefix(feed + 1);
    }
}

/// The unfinished line has come to its end.
void LogTail::takeLine() {
    if (m_skipping) {
        m_skipping = false;
        m_begin += m_partialBytes;
    } else {
        m_lines.push_back({LogLine::parse(m_partial), m_partialBytes});
        m_heldBytes += m_partial.size();
    }
    m_partial.clear();
    m_partialBytes = 0;
    while (!m_stays && (m_lines.size() > m_keepLines || m_heldBytes > kMostBytes)) {
        const Held& oldest = m_lines.front();
        m_begin += oldest.bytes;
        m_heldBytes -= oldest.line.whole.length();
        ++m_firstNumber;
        m_lines.pop_front();
    }
}

bool LogTail::earlier() {
    if (m_skipping || m_begin == 0) {
        return false;
    }
    std::string piece(std::min<std::uint64_t>(kPiece, m_begin), '\0');
    const std::uint64_t from = m_begin - piece.size();
    if (readAt(m_descriptor, from, piece.data(), piece.size()) != piece.size()) {
        return false;
    }
    std::string_view rest = piece;
    if (from > 0) {
        // The first line began before the piece, unless it is all there is.
        const std::size_t feed = rest.find('\n');
        rest.remove_prefix(feed == std::string_view::npos || feed + 1 == rest.size() ? 0 : feed + 1);
    }
    const std::size_t before = m_lines.size();
    while (!rest.empty()) {
        const std::string_view text = rest.ends_with('\n') ? rest.substr(0, rest.size() - 1) : rest;
        const std::size_t begin = text.rfind('\n') + 1;  // 0 without one
        if (!addBefore(text.substr(begin), rest.size() - begin)) {
            break;
        }
        rest = rest.substr(0, begin);
    }
    return m_lines.size() > before;
}

/// False when there is no room.
bool LogTail::addBefore(std::string_view text, std::size_t bytes) {
    if (m_lines.size() >= m_keepLines || m_heldBytes + text.size() > kMostBytes) {
        return false;
    }
    m_lines.push_front({LogLine::parse(text), bytes});
    m_heldBytes += text.size();
    m_begin -= bytes;
    --m_firstNumber;
    return true;
}

std::vector<LogLine> LogTail::lines() const {
    std::vector<LogLine> copy;
    copy.reserve(m_lines.size());
    for (const Held& held : m_lines) {
        copy.push_back(held.line);
    }
    return copy;
}

}  // namespace tessel::view
