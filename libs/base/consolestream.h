// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <atomic>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "libs/base/consoleline.h"
#include "libs/base/mutex.h"

namespace tessel {

/// An open destination of log lines; closes its handle at its end unless that is standard output or error.
/// Any thread may write; each write() appears as a whole.
///
/// A destination that accepts nothing (a pipe that nobody reads, a full disk) holds nobody up for longer than
/// kPatience, and nobody at all until it accepts again. Lines for it are held meanwhile, up to kMostHeld bytes; what is
/// beyond that is lost and counted.
class LogSink {
public:
    static constexpr unsigned kPatience = 1000;  // milliseconds
    static constexpr std::size_t kMostHeld = 256 * 1024;

    /// Takes the handle over.
    explicit LogSink(std::FILE* stream) noexcept;
    LogSink(const LogSink&) = delete;
    LogSink& operator=(const LogSink&) = delete;
    ~LogSink();

    /// Appends whole lines at the true end of the file, past the stream's buffer.
    void write(std::string_view lines) noexcept;
    /// Offers what is held again, waiting at most kPatience for something to be accepted, or not at all; whether
    /// nothing is held any more.
    bool retry(bool patiently) noexcept;
    /// Lines lost since the last report; 0 while some are held. With `last` those that are held count too.
    unsigned long takeLost(bool last) noexcept;

    [[nodiscard]] std::FILE* stream() const noexcept { return m_stream; }
    [[nodiscard]] bool standard() const noexcept { return m_stream == stdout || m_stream == stderr; }
    /// Whether lines for the other one may as well be written here: two handles that append to one file.
    [[nodiscard]] bool sameFile(const LogSink& other) const noexcept {
        return this == &other || (m_appends && other.m_appends && m_device == other.m_device && m_file == other.m_file);
    }

private:
    [[nodiscard]] bool lockInTime(UniqueLock& lock) noexcept;
    bool offerHeld(unsigned milliseconds) noexcept;
    bool offer(std::string_view& text, unsigned milliseconds) noexcept;
    void hold(std::string_view lines) noexcept;

    std::FILE* const m_stream;
    bool m_appends = false;
    unsigned long m_device = 0;
    unsigned long m_file = 0;

    std::atomic<bool> m_stalled{false};  // it accepted nothing for kPatience, and nothing since
    std::atomic<unsigned long> m_lost{0};

    mutable Mutex m_mutex;
    std::string m_held;  // guarded by m_mutex; may begin within a line
};

/// Which destination each category has. Any thread may call.
class ConsoleStreams {
public:
    ConsoleStreams();

    /// Takes the handle over (null: no file) and closes the one given up, as Console::setStream() says. False, with
    /// nothing changed and the handle closed, when memory has ended.
    bool set(LogCategory category, std::FILE* stream, const String& name) noexcept;
    [[nodiscard]] String name(LogCategory category) const;
    /// LogSink::retry() and takeLost() of all.
    bool retry(bool patiently) noexcept;
    unsigned long takeLost(bool last) noexcept;
    /// Whether the category has another sink than `known`; if so sets `sink` to it, null when it has no file.
    bool changed(LogCategory category, const LogSink* known, std::shared_ptr<LogSink>& sink) const;

private:
    struct Record {
        std::shared_ptr<LogSink> sink;
        String name;
    };

    using Sinks = std::array<std::shared_ptr<LogSink>, kLogCategories>;

    std::shared_ptr<LogSink> adopt(std::FILE* stream) const;
    /// Gives who shares the sink another one. With m_mutex held.
    void moveFrom(const LogSink& closing) noexcept;
    /// Each once, then null.
    [[nodiscard]] Sinks sinks() const noexcept;

    const std::shared_ptr<LogSink> m_standardOutput;
    mutable Mutex m_mutex;
    // Guarded by m_mutex:
    std::array<Record, kLogCategories> m_records;
};

/// Collects lines and writes those for one file together. Used by one thread at a time.
class LineWriter {
public:
    explicit LineWriter(const ConsoleStreams& streams) noexcept : m_streams(streams) {}

    /// Adds a line; what is collected for another file, or has become long, is written first.
    void add(LogCategory category, const String& threadId, const String& className, const String& method,
             const String& text);
    /// Writes what is collected: to the file, then to the system's log.
    void writeOut() noexcept;

private:
    struct Body {
        LogCategory category;
        std::size_t position;
        std::size_t length;
    };

    const ConsoleStreams& m_streams;
    LineClock m_clock;
    std::shared_ptr<LogSink> m_sink;
    std::string m_lines;
    std::vector<Body> m_bodies;
};

}  // namespace tessel
