// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>

#include "libs/base/gcobject.h"
#include "libs/base/log.h"
#include "libs/base/string.h"

namespace tessel {

/// The process-wide logger: five streams, one for each category, and a thread named "console" that writes.
///
/// A program that wants a log calls Console::start() once; without it every log() does nothing. Lines of one thread
/// keep their order; lines of different threads are ordered by the moment of their hand-over.
///
/// A line in a file: "dd-mm-yy HH:MM:SS.m [thread] LABEL Class.method text" and a line feed (local time, m the
/// milliseconds without leading zeros; without a method "Class: text"). Every line, also that of a category without
/// a file, then goes to the system log as well, without the time.
///
/// So that one entry stays one line that shows what it is, text is escaped (printable.h), and a body is cut at
/// kLongestBody.
///
/// Nothing waits for ever. What comes when the queue is full (kMostQueuedLines, kMostQueuedBytes), or memory, is
/// dropped. A destination that accepts nothing loses what is beyond its share (LogSink), and the system
/// log what its daemon does not take (platform::systemLog()). How many lines that were is logged, as one WARNING
/// each of class "Console", when it is over and at the end.
///
/// Without its thread (there are no more to be had, or after quit(), or in a forked child) a line is written at once,
/// by who logs it.
///
/// Threads: log() may be called on any thread; setStream() at start, before other threads log.
class Console final : public gc::ObjectDelete {
public:
    /// Bytes of a body that are written at most; what is beyond gives way to "...".
    static constexpr unsigned kLongestBody = 64 * 1024;
    /// What may wait for the thread: so many lines (of all consoles together), of which those of more than 128 bytes
    /// have so many bytes. Whatever is logged, that is less than 24 MiB.
    static constexpr unsigned kMostQueuedLines = 65536;
    static constexpr std::size_t kMostQueuedBytes = 8 * 1024 * 1024;
    /// How long the end waits for what is queued, and then for the thread.
    static constexpr unsigned kLastWordsMilliseconds = 5000;
    static constexpr unsigned kJoinMilliseconds = 2000;

    /// Makes the process-wide console, with every category on standard output, unless there is one already.
    static void start();
    /// The process-wide console, or empty.
    static gc::Pointer<Console> current() noexcept;
    /// The same without counting, or null: what start() made stands to the end of the process.
    static Console* instance() noexcept;

    Console();
    /// Writes what is queued, for at most kLastWordsMilliseconds.
    ~Console() override;
    [[nodiscard]] const char* getClassName() const override { return "Console"; }

    void log(LogCategory category, const String& className, const String& method, const String& text) noexcept;
    void log(LogCategory category, const String& threadId, const String& className, const String& method,
             const String& text) noexcept;
    /// Formats and writes one line now, on the caller's thread.
    void print(LogCategory category, const String& threadId, const String& className, const String& method,
               const String& text);

    /// Sends a category to "null" (no file), "stdout", "stderr" or a file, which is truncated. A file is created for
    /// its owner alone; a symbolic link, another user's file or what is no regular file is refused. When the file
    /// cannot be opened the category is left without one ("null"): false. Any other category but WARNING that shares
    /// the handle given up is moved to standard output.
    bool setStream(LogCategory category, const String& destination) noexcept;
    /// Takes the handle over. False when memory has ended: the handle is closed and all stays as it was.
    bool setStream(LogCategory category, std::FILE* stream, const String& name) noexcept;
    /// Sends all categories to a file; when it cannot be opened, to the one named `otherwise` in the user's own
    /// directory (File::getUserApplicationDataDirectory()), which is made, and a WARNING says so.
    void setStreams(const String& destination, const String& otherwise) noexcept;
    /// Opens a destination: null for "null" and for one that cannot be opened.
    static std::FILE* computeStream(const String& destination) noexcept;
    /// The destination that the category's lines are written to: a name as it was given to setStream().
    [[nodiscard]] String getFilename(LogCategory category) const;

    /// Asks the thread to end: what is still queued then is not written. join() waits for it, at most
    /// kJoinMilliseconds.
    void quit() noexcept;
    void join() noexcept;
    void quit_and_join() noexcept;
    /// Waits until what was logged before the call is written to the files, at most this long; false when it is not,
    /// early where a destination accepts nothing.
    bool flush(unsigned milliseconds) noexcept;

    /// Reads the operating system's name, version and patch text; with logIt also logs them.
    void infoSystem(bool logIt);
    String getOs();
    String getOsName();
    String getOsVersion();
    String getOsPatch();

    /// Where bodies go besides the file: platform::systemLog() unless replaced. The sink is called by the writing
    /// thread and must outlive the console; it must neither log nor wait. What it raises is swallowed. The body is the
    /// sink's only during the call: its bytes are temporary. Null puts platform::systemLog() back.
    using SystemLogSink = void (*)(LogCategory category, const String& body);
    static void setSystemLogSink(SystemLogSink sink) noexcept;
    static void systemLog(LogCategory category, const String& body) noexcept;

private:
    class Implementation;
    void logFrom(LogCategory category, String&& threadId, const String& className, const String& method,
                 const String& text);
    String osField(String Implementation::*field);

    std::unique_ptr<Implementation> m_implementation;
};

}  // namespace tessel
