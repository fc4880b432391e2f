#pragma once

#include <array>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "libs/base/consoleline.h"
#include "libs/base/mutex.h"

namespace tessel {

/// An open destination of log lines; closes its handle at its end unless that is standard output or error.
/// Any thread may write; each write() appears as a whole.
class LogSink {
public:
    /// Takes the handle over.
    explicit LogSink(std::FILE* stream) noexcept;
    LogSink(const LogSink&) = delete;
    LogSink& operator=(const LogSink&) = delete;
    ~LogSink();

    /// Appends at the true end of the file and flushes. Failure goes unnoticed: there is nobody to tell.
    void write(const std::string& lines) noexcept;
    [[nodiscard]] std::FILE* stream() const noexcept { return m_stream; }
    [[nodiscard]] bool standard() const noexcept { return m_stream == stdout || m_stream == stderr; }
    /// Whether lines for the other one may as well be written here: two handles that append to one file.
    [[nodiscard]] bool sameFile(const LogSink& other) const noexcept {
        return this == &other || (m_appends && other.m_appends && m_device == other.m_device && m_file == other.m_file);
    }

private:
    std::FILE* const m_stream;
    bool m_appends = false;
    unsigned long m_device = 0;
    unsigned long m_file = 0;
};

/// Which destination each category has. Any thread may call.
class ConsoleStreams {
public:
    ConsoleStreams();

    /// Takes the handle over (null: no file) and closes the one given up, as Console::setStream() says.
    void set(LogCategory category, std::FILE* stream, const String& name);
    [[nodiscard]] String name(LogCategory category) const;
    /// Whether the category has another sink than `known`; if so sets `sink` to it, null when it has no file.
    bool changed(LogCategory category, const LogSink* known, std::shared_ptr<LogSink>& sink) const;

private:
    struct Record {
        std::shared_ptr<LogSink> sink;
        String name;
    };

    std::shared_ptr<LogSink> adopt(std::FILE* stream) const;

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
