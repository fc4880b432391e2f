// SPDX-License-Identifier: Apache-2.0
#include "libs/base/consolestream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <new>
#include <thread>
#include <utility>

#include "libs/base/console.h"
#include "libs/base/platform.h"

namespace tessel {

namespace {

constexpr std::size_t kWriteAt = 64 * 1024;

unsigned indexOf(LogCategory category) noexcept { return static_cast<unsigned>(category); }

unsigned long countLines(std::string_view lines) noexcept {
    return static_cast<unsigned long>(std::count(lines.begin(), lines.end(), '\n'));
}

}  // namespace

LogSink::LogSink(std::FILE* stream) noexcept : m_stream(stream) {
    const int descriptor = ::fileno(stream);
    const int flags = descriptor < 0 ? -1 : ::fcntl(descriptor, F_GETFL);
    struct stat status {};
    if (flags >= 0 && (flags & O_APPEND) != 0 && ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) {
        m_appends = true;
        m_device = status.st_dev;
        m_file = status.st_ino;
    }
}

LogSink::~LogSink() {
    retry(false);
    if (!standard()) {
        std::fclose(m_stream);
    }
}

void LogSink::write(std::string_view lines) noexcept {
    UniqueLock lock(m_mutex, std::defer_lock);
    if (!lockInTime(lock)) {
        m_lost += countLines(lines);
        return;
    }
    const unsigned patience = m_stalled ? 0 : kPatience;
    if (!offerHeld(patience) || !offer(lines, patience)) {
        hold(lines);
    }
}

bool LogSink::retry(bool patiently) noexcept {
    UniqueLock lock(m_mutex, std::defer_lock);
    return lockInTime(lock) && offerHeld(patiently ? kPatience : 0);
}

unsigned long LogSink::takeLost(bool last) noexcept {
    UniqueLock lock(m_mutex, std::defer_lock);
    if (!lockInTime(lock) || (!m_held.empty() && !last)) {
        return 0;
    }
    return m_lost.exchange(0) + countLines(m_held);
}

// A writer that a destination holds up after all holds the mutex for as long.
bool LogSink::lockInTime(UniqueLock& lock) noexcept {
    constexpr std::chrono::milliseconds kNap{1};
    const unsigned limit = m_stalled ? 1 : kPatience;
    for (unsigned naps = 0; !lock.try_lock(); ++naps) {
        if (naps == limit) {
            m_stalled = true;
            return false;
        }
        std::this_thread::sleep_for(kNap);
    }
    return true;
}

bool LogSink::offerHeld(unsigned milliseconds) noexcept {
    std::string_view held = m_held;
    if (held.empty()) {
        return true;
    }
    const bool taken = offer(held, milliseconds);
    m_held.erase(0, m_held.size() - held.size());
    return taken;
}

bool LogSink::offer(std::string_view& text, unsigned milliseconds) noexcept {
    const int descriptor = ::fileno(m_stream);
    if (descriptor < 0) {
        // A stream without a descriptor, such as one in memory.
        std::fwrite(text.data(), 1, text.size(), m_stream);
        std::fflush(m_stream);
        return true;
    }
    platform::flushWithoutWaiting(m_stream);
    if (!m_appends) {
        // Several handles may stand on one file. On a pipe or a terminal this fails and changes nothing.
        ::lseek(descriptor, 0, SEEK_END);
    }
    const bool works = platform::writeWithin(descriptor, text, milliseconds);
    m_stalled = works && !text.empty();
    return text.empty();
}

void LogSink::hold(std::string_view lines) noexcept {
    try {
        // What was begun is held in any case: the next line must not stand behind half of one.
        if (m_held.empty() || m_held.size() + lines.size() <= kMostHeld) {
            m_held += lines;
            return;
        }
    } catch (const std::bad_alloc&) {
        // Memory has ended: they count as lost.
    }
    m_lost += countLines(lines);
}

ConsoleStreams::ConsoleStreams() : m_standardOutput(std::make_shared<LogSink>(stdout)) {
    for (Record& record : m_records) {
        record = {m_standardOutput, "stdout"};
    }
}

std::shared_ptr<LogSink> ConsoleStreams::adopt(std::FILE* stream) const {
    if (stream == nullptr) {
        return nullptr;
    }
    for (const Record& record : m_records) {
        if (record.sink != nullptr && record.sink->stream() == stream) {
            return record.sink;
        }
    }
    return stream == stdout ? m_standardOutput : std::make_shared<LogSink>(stream);
}

bool ConsoleStreams::set(LogCategory category, std::FILE* stream, const String& name) noexcept {
    std::shared_ptr<LogSink> old;  // closed without the lock
    const Lock lock(m_mutex);
    std::shared_ptr<LogSink> fresh;
    try {
        fresh = adopt(stream);
    } catch (const std::bad_alloc&) {
        std::fclose(stream);
        return false;
    }
    old = std::exchange(m_records[indexOf(category)], {fresh, name}).sink;
    if (old != nullptr && !old->standard() && old != fresh) {
        moveFrom(*old);
    }
    return true;
}

void ConsoleStreams::moveFrom(const LogSink& closing) noexcept {
    for (unsigned category = 0; category < kLogCategories; ++category) {
        Record& record = m_records[category];
        if (record.sink.get() != &closing) {
            continue;
        }
        if (category == indexOf(LogCategory::Warning)) {
            // A known limit kept as it is: WARNING is not moved and keeps the name of the file that is closed, so
            // that its lines reach the system log only.
            record.sink = nullptr;
        } else {
            record = {m_standardOutput, "stdout"};
        }
    }
}

String ConsoleStreams::name(LogCategory category) const {
    const Lock lock(m_mutex);
    return m_records[indexOf(category)].name;
}

bool ConsoleStreams::changed(LogCategory category, const LogSink* known, std::shared_ptr<LogSink>& sink) const {
    const Lock lock(m_mutex);
    const std::shared_ptr<LogSink>& current = m_records[indexOf(category)].sink;
    if (current.get() == known) {
        return false;
    }
    sink = current;
    return true;
}

ConsoleStreams::Sinks ConsoleStreams::sinks() const noexcept {
    Sinks found;
    auto end = found.begin();
    const Lock lock(m_mutex);
    for (const Record& record : m_records) {
        if (record.sink != nullptr && std::find(found.begin(), end, record.sink) == end) {
            *end++ = record.sink;
        }
    }
    return found;
}

bool ConsoleStreams::retry(bool patiently) noexcept {
    bool nothingHeld = true;
    for (const std::shared_ptr<LogSink>& sink : sinks()) {
        nothingHeld = (sink == nullptr || sink->retry(patiently)) && nothingHeld;
    }
    return nothingHeld;
}

unsigned long ConsoleStreams::takeLost(bool last) noexcept {
    unsigned long lost = 0;
    for (const std::shared_ptr<LogSink>& sink : sinks()) {
        lost += sink == nullptr ? 0 : sink->takeLost(last);
    }
    return lost;
}

void LineWriter::add(LogCategory category, const String& threadId, const String& className, const String& method,
                     const String& text) {
    if (m_lines.size() >= kWriteAt) {
        writeOut();
    }
    std::shared_ptr<LogSink> other;
    if (m_streams.changed(category, m_sink.get(), other)) {
        if (other == nullptr || m_sink == nullptr || !other->sameFile(*m_sink)) {
            writeOut();
        }
        m_sink = std::move(other);
    }
    const std::size_t start = m_lines.size();
    try {
        m_clock.append(m_lines);
        const std::size_t position = m_lines.size();
        appendBody(m_lines, category, threadId, className, method, text, Console::kLongestBody);
        const std::size_t length = m_lines.size() - position;
        m_lines += '\n';
        m_bodies.push_back({category, position, length});
    } catch (...) {
        m_lines.resize(start);
        throw;
    }
}

void LineWriter::writeOut() noexcept {
    if (m_sink != nullptr && !m_lines.empty()) {
        m_sink->write(m_lines);
    }
    for (const Body& body : m_bodies) {
        Console::systemLog(body.category, String(m_lines.data() + body.position, static_cast<unsigned>(body.length)));
    }
    m_lines.clear();
    m_bodies.clear();
    m_sink.reset();
}

}  // namespace tessel
