// SPDX-License-Identifier: Apache-2.0
#include "libs/base/console.h"

#include <new>

#include "libs/base/consolestream.h"
#include "libs/base/fifonoblockpush.h"
#include "libs/base/file.h"
#include "libs/base/forkgate.h"
#include "libs/base/globals.h"
#include "libs/base/numbers.h"
#include "libs/base/platform.h"
#include "libs/base/semaphore.h"
#include "libs/base/thread.h"
#include "libs/base/threadname.h"

namespace tessel {

namespace {

constexpr const char* kThreadName = "console";
constexpr unsigned kPopMilliseconds = 10'000;
constexpr unsigned kRetryMilliseconds = 100;
// What is shorter is bounded well enough by the number of records.
constexpr std::size_t kShortLine = 128;

// Constant-initialised: log() may come before every constructor. What it points at lives as long as the process.
constinit std::atomic<Console*> theConsole{nullptr};
constinit std::atomic<Console::SystemLogSink> theSystemLog{nullptr};

// The console whose thread this is.
thread_local constinit const void* writingHere = nullptr;

/// What flush() waits for. Counted, because who waits may give up before it is reached.
class FlushTicket final : public gc::ObjectDelete {
public:
    Semaphore done;
    bool written = false;  // before done is released
};

struct Message {
    LogCategory category = LogCategory::Trace;
    String threadId;
    String className;
    String method;
    String text;
    gc::Pointer<FlushTicket> ticket;

    /// Says nothing.
    [[nodiscard]] bool marker() const noexcept {
        return threadId.empty() && className.empty() && method.empty() && text.empty();
    }
};

using Queue = FifoNoBlockPush<Message>;
static_assert(Queue::kMostRecords == Console::kMostQueuedLines);

/// The path of a file in the user's own directory, which is made; "null" when it cannot be.
String inOwnDirectory(const String& name) noexcept {
    try {
        const String directory = File::getUserApplicationDataDirectory();
        File::ensureDirectory(directory);
        return directory + name;
    } catch (...) {
        return "null";
    }
}

String lostLines(unsigned long number, const char* why) {
    return toString(number) + (number == 1 ? " line was " : " lines were ") + why;
}

}  // namespace

/// The thread "console" owns m_writer while it runs and pops from m_queue. Where it cannot be made, or in a forked
/// child, lines are written by who logs them.
class Console::Implementation final : public Thread {
public:
    Implementation();
    ~Implementation() override {
        quit();
        join();
    }

    [[nodiscard]] bool queues() const noexcept {
        return m_active.load(std::memory_order_acquire) && writingHere != this &&
               m_generation == ForkGate::generation();
    }
    void push(LogCategory category, String&& threadId, const String& className, const String& method,
              const String& text);
    void print(LogCategory category, const String& threadId, const String& className, const String& method,
               const String& text);
    void quit() noexcept {
        if (m_active.exchange(false)) {
            m_queue.close();
        }
    }
    bool flush(unsigned milliseconds) noexcept;
    void countDropped() noexcept { m_dropped.fetch_add(1, std::memory_order_relaxed); }
    ConsoleStreams& streams() noexcept { return m_streams; }

    Mutex m_systemMutex;
    // Guarded by m_systemMutex:
    String m_osName;
    String m_osVersion;
    String m_osPatch;

protected:
    void main() override;

private:
    void handle(const Message& message);
    void finishBatch(bool last);
    /// Logs what was lost, and returns when the system log is to be offered again what it did not take; 0 for nothing.
    unsigned reportLosses(LineWriter& writer, const String& threadId, bool last);

    // What every caller reads, on a cache line that is hardly ever written.
    alignas(64) std::atomic<bool> m_active{true};
    std::atomic<bool> m_lost{false};
    const unsigned m_generation = ForkGate::generation();
    std::atomic<unsigned long> m_dropped{0};

    alignas(64) Queue m_queue{kMostQueuedBytes};
    ConsoleStreams m_streams;
    LineWriter m_writer;
    // The thread's: when to offer again what was not taken, 0 when nothing waits for that.
    unsigned m_retryMilliseconds = 0;
};

Console::Implementation::Implementation() : Thread(kThreadName, 0, false), m_writer(m_streams) {
    try {
        launch();
    } catch (const EThread&) {
        m_active.store(false);
    } catch (const std::bad_alloc&) {
        m_active.store(false);
    }
}

void Console::Implementation::push(LogCategory category, String&& threadId, const String& className,
                                   const String& method, const String& text) {
    const std::size_t length = std::size_t{threadId.length()} + className.length() + method.length() + text.length();
    const bool queued = m_queue.fill(
        [&](Message& message) noexcept {
            message.category = category;
            message.threadId = std::move(threadId);
            message.className = className;
            message.method = method;
            message.text = text;
        },
        length > kShortLine ? length : 0);
    if (!queued) [[unlikely]] {
        countDropped();
    }
}

void Console::Implementation::print(LogCategory category, const String& threadId, const String& className,
                                    const String& method, const String& text) {
    const ForkGate::Inside inside;
    LineWriter writer(m_streams);
    writer.add(category, threadId, className, method, text);
    writer.writeOut();
    if (!queues()) {
        reportLosses(writer, threadId, false);
    }
}

void Console::Implementation::main() {
    writingHere = this;
    Message message;
    while (m_active.load(std::memory_order_acquire)) {
        const bool popped = m_queue.pop(message, m_retryMilliseconds == 0 ? kPopMilliseconds : m_retryMilliseconds);
        const ForkGate::Inside inside;
        try {
            if (popped) {
                handle(message);
            }
            if (m_queue.empty()) {
                finishBatch(false);
            }
        } catch (...) {
            // A line that cannot be written is lost; the next one may do better.
            countDropped();
        }
    }
    // Lines still queued after quit() are not written, by design.
    while (m_queue.pop(message, 0)) {
        m_lost = m_lost || !message.marker();
    }
    try {
        finishBatch(true);
    } catch (...) {
        // Memory has ended: nobody learns the numbers.
    }
}

void Console::Implementation::handle(const Message& message) {
    if (message.ticket.valid()) {
        m_writer.writeOut();
        message.ticket->written = m_streams.retry(true);
        message.ticket->done.release();
    } else if (!message.marker()) {
        m_writer.add(message.category, message.threadId, message.className, message.method, message.text);
    }
}

void Console::Implementation::finishBatch(bool last) {
    m_writer.writeOut();
    const bool taken = m_streams.retry(false);
    const unsigned systemLog = reportLosses(m_writer, kThreadName, last);
    m_retryMilliseconds = taken ? systemLog : kRetryMilliseconds;
}

unsigned Console::Implementation::reportLosses(LineWriter& writer, const String& threadId, bool last) {
    const auto report = [&](const char* method, const String& text) {
        writer.add(LogCategory::Warning, threadId, "Console", method, text);
    };
    if (const unsigned long dropped = m_dropped.exchange(0, std::memory_order_relaxed); dropped != 0) {
        report("log", lostLines(dropped, "dropped: more came than could be written"));
    }
    if (const unsigned long lost = m_streams.takeLost(last); lost != 0) {
        report("write", lostLines(lost, "lost: their destination did not accept them"));
    }
    // The system log is the process's: its console tells of it, if there is one.
    const Console* const console = Console::instance();
    platform::SystemLogState systemLog{0, 0};
    if (console == nullptr || console->m_implementation.get() == this) {
        systemLog = platform::systemLogState(last);
    }
    if (systemLog.lost != 0) {
        report("systemLog", lostLines(systemLog.lost, "not taken by the system log"));
    }
    writer.writeOut();
    return systemLog.retryMilliseconds;
}

bool Console::Implementation::flush(unsigned milliseconds) noexcept {
    if (!queues()) {
        // Lines are written as they come, but for those that quit() left behind.
        return !m_lost;
    }
    try {
        Message message;
        message.ticket = new FlushTicket;
        const gc::Pointer<FlushTicket> ticket = message.ticket;
        m_queue.push(std::move(message));
        return ticket->done.acquire(milliseconds) && ticket->written;
    } catch (...) {
        return false;
    }
}

Console::Console() : m_implementation(std::make_unique<Implementation>()) {}

Console::~Console() {
    flush(kLastWordsMilliseconds);
    quit();
    if (!m_implementation->join(kJoinMilliseconds)) {
        // Its thread is held up in something that may end one day: it keeps what it uses.
        static_cast<void>(m_implementation.release());
    }
}

void Console::start() {
    // Once for the process; never destroyed, so that nobody need count references to log.
    static Console* const made = [] {
        Globals::instance();
        auto* console = new Console;
        console->gcAddRef(false);
        theConsole.store(console, std::memory_order_release);
        return console;
    }();
    static_cast<void>(made);
}

gc::Pointer<Console> Console::current() noexcept { return instance(); }

Console* Console::instance() noexcept { return theConsole.load(std::memory_order_acquire); }

void Console::log(LogCategory category, const String& className, const String& method, const String& text) noexcept {
    try {
        logFrom(category, currentThreadName(), className, method, text);
    } catch (...) {
        // Memory has ended: the line is what can be spared.
        m_implementation->countDropped();
    }
}

void Console::log(LogCategory category, const String& threadId, const String& className, const String& method,
                  const String& text) noexcept {
    try {
        logFrom(category, String(threadId), className, method, text);
    } catch (...) {
        m_implementation->countDropped();
    }
}

void Console::logFrom(LogCategory category, String&& threadId, const String& className, const String& method,
                      const String& text) {
    if (m_implementation->queues()) {
        m_implementation->push(category, std::move(threadId), className, method, text);
    } else if (!ForkGate::mute()) {
        print(category, threadId, className, method, text);
    }
}

void Console::print(LogCategory category, const String& threadId, const String& className, const String& method,
                    const String& text) {
    m_implementation->print(category, threadId, className, method, text);
}

bool Console::setStream(LogCategory category, const String& destination) noexcept {
    std::FILE* const stream = computeStream(destination);
    const bool opened = stream != nullptr || destination == "null";
    return setStream(category, stream, opened ? destination : String("null")) && opened;
}

bool Console::setStream(LogCategory category, std::FILE* stream, const String& name) noexcept {
    const ForkGate::Inside inside;
    return m_implementation->streams().set(category, stream, name);
}

void Console::setStreams(const String& destination, const String& otherwise) noexcept {
    const bool usual = setStream(LogCategory::Trace, destination);
    const String file = usual ? destination : inOwnDirectory(otherwise);
    if (!usual) {
        setStream(LogCategory::Trace, file);
    }
    for (const LogCategory category :
         {LogCategory::Error, LogCategory::Warning, LogCategory::Assert, LogCategory::Debug}) {
        setStream(category, file);
    }
    try {
        if (!usual) {
            log(LogCategory::Warning, "Console", "setStreams",
                destination + " cannot be written, the log goes to " + file);
        }
    } catch (const std::bad_alloc&) {
        // getFilename() tells it.
    }
}

std::FILE* Console::computeStream(const String& destination) noexcept {
    if (destination == "null") {
        return nullptr;
    }
    if (destination == "stdout") {
        return stdout;
    }
    if (destination == "stderr") {
        return stderr;
    }
    return platform::openLogFile(destination.str());
}

String Console::getFilename(LogCategory category) const { return m_implementation->streams().name(category); }

void Console::quit() noexcept { m_implementation->quit(); }
void Console::join() noexcept { m_implementation->join(kJoinMilliseconds); }
void Console::quit_and_join() noexcept {
    quit();
    join();
}
bool Console::flush(unsigned milliseconds) noexcept { return m_implementation->flush(milliseconds); }

void Console::infoSystem(bool logIt) {
    platform::SystemNames names;
    const bool known = platform::systemNames(names);
    {
        const Lock lock(m_implementation->m_systemMutex);
        m_implementation->m_osName = known ? names.name : String("uname error");
        m_implementation->m_osVersion = names.release;
        m_implementation->m_osPatch = names.version;
    }
    if (!logIt) {
        return;
    }
    if (known) {
        log(LogCategory::Trace, "Console", "infoSystem", getOs() + " " + names.node + " " + names.machine);
    } else {
        log(LogCategory::Trace, "Console", "infoSystem", "can not read OS informations");
    }
}

String Console::getOs() {
    const Lock lock(m_implementation->m_systemMutex);
    String text = m_implementation->m_osName;
    for (const String& part : {m_implementation->m_osVersion, m_implementation->m_osPatch}) {
        if (!part.empty()) {
            text += " " + part;
        }
    }
    return text;
}

String Console::osField(String Implementation::*field) {
    {
        const Lock lock(m_implementation->m_systemMutex);
        if (!m_implementation->m_osName.empty()) {
            return (*m_implementation).*field;
        }
    }
    infoSystem(false);
    const Lock lock(m_implementation->m_systemMutex);
    return (*m_implementation).*field;
}

String Console::getOsName() { return osField(&Implementation::m_osName); }
String Console::getOsVersion() { return osField(&Implementation::m_osVersion); }
String Console::getOsPatch() { return osField(&Implementation::m_osPatch); }

void Console::setSystemLogSink(SystemLogSink sink) noexcept { theSystemLog.store(sink, std::memory_order_release); }

void Console::systemLog(LogCategory category, const String& body) noexcept {
    const SystemLogSink sink = theSystemLog.load(std::memory_order_acquire);
    try {
        (sink == nullptr ? &platform::systemLog : sink)(category, body);
    } catch (...) {
        // The file has the line.
    }
}

}  // namespace tessel
