#include "libs/base/consolestream.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "libs/base/console.h"

namespace tessel {

namespace {

constexpr std::size_t kWriteAt = 64 * 1024;

unsigned indexOf(LogCategory category) noexcept { return static_cast<unsigned>(category); }

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
    if (!standard()) {
        std::fclose(m_stream);
    }
}

void LogSink::write(const std::string& lines) noexcept {
    ::flockfile(m_stream);
    if (!m_appends) {
        // Several handles may stand on one file. On a pipe or a terminal this fails and changes nothing.
        std::fseek(m_stream, 0, SEEK_END);
    }
    std::fwrite(lines.data(), 1, lines.size(), m_stream);
    std::fflush(m_stream);
    ::funlockfile(m_stream);
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

void ConsoleStreams::set(LogCategory category, std::FILE* stream, const String& name) {
    const Lock lock(m_mutex);
    std::shared_ptr<LogSink> fresh = adopt(stream);
    const std::shared_ptr<LogSink> old = m_records[indexOf(category)].sink;
    m_records[indexOf(category)] = {fresh, name};
    if (old == nullptr || old->standard() || old == fresh) {
        return;
    }
    for (unsigned other = 0; other < kLogCategories; ++other) {
        Record& record = m_records[other];
        if (record.sink != old) {
            continue;
        }
        if (other == indexOf(LogCategory::Warning)) {
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
        m_bodies.push_back({category, position, m_lines.size() - position});
        m_lines += '\n';
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
