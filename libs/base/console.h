#pragma once

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
/// a file, goes to the system log as well, without the time.
///
/// So that one entry stays one line, control bytes in it are written as "\xNN", and a body is cut at kLongestBody.
///
/// Threads: log() may be called on any thread; setStream() at start, before other threads log.
class Console final : public gc::ObjectDelete {
public:
    /// Bytes of a body that are written at most; what is beyond gives way to "...".
    static constexpr unsigned kLongestBody = 64 * 1024;

    /// Makes the process-wide console, with every category on standard output, unless there is one already.
    static void start();
    /// The process-wide console, or empty.
    static gc::Pointer<Console> current() noexcept;
    /// The same without counting, or null: what start() made stands to the end of the process.
    static Console* instance() noexcept;

    Console();
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
    /// cannot be opened the category is left without one. Any other category but WARNING that shares the handle
    /// given up is moved to standard output.
    void setStream(LogCategory category, const String& destination) noexcept;
    /// Takes the handle over.
    void setStream(LogCategory category, std::FILE* stream, const String& name) noexcept;
    /// Opens a destination: null for "null" and for one that cannot be opened.
    static std::FILE* computeStream(const String& destination) noexcept;
    [[nodiscard]] String getFilename(LogCategory category) const;

    /// Asks the thread to end: what is still queued then is not written. join() waits for it.
    void quit() noexcept;
    void join() noexcept;
    void quit_and_join() noexcept;
    /// Waits until what was logged before the call is written, at most this long; false when it is not.
    bool flush(unsigned milliseconds) noexcept;

    /// Reads the operating system's name, version and patch text; with logIt also logs them.
    void infoSystem(bool logIt);
    String getOs();
    String getOsName();
    String getOsVersion();
    String getOsPatch();

    /// Where bodies go besides the file: syslog(3) under "nebrixclient" unless replaced. The sink is called by the
    /// writing thread and must outlive the console; it must not log. The body is the sink's only during the call:
    /// its bytes are temporary. Null puts syslog(3) back.
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
