#include "libs/base/console.h"

#include "libs/base/consolestream.h"
#include "libs/base/fifonoblockpush.h"
#include "libs/base/globals.h"
#include "libs/base/platform.h"
#include "libs/base/semaphore.h"
#include "libs/base/thread.h"
#include "libs/base/threadname.h"

namespace tessel {

namespace {

constexpr unsigned kPopMilliseconds = 10'000;

// Constant-initialised: log() may come before every constructor. What it points at lives as long as the process.
constinit std::atomic<Console*> theConsole{nullptr};
constinit std::atomic<Console::SystemLogSink> theSystemLog{nullptr};

// The console whose thread this is.
thread_local constinit const void* writingHere = nullptr;

/// What flush() waits for. Counted, because who waits may give up before it is reached.
class FlushTicket final : public gc::ObjectDelete {
public:
    Semaphore done;
};

struct Message {
    LogCategory category = LogCategory::Trace;
    String threadId;
    String className;
    String method;
    String text;
    gc::Pointer<FlushTicket> ticket;

    /// Only wakes the thread.
    [[nodiscard]] bool marker() const noexcept {
        return threadId.empty() && className.empty() && method.empty() && text.empty();
    }
};

}  // namespace

/// The thread "console" owns m_writer while it runs and pops from m_queue.
class Console::Implementation final : public Thread {
public:
    Implementation() : Thread("console", 0, false), m_writer(m_streams) {
        m_active.store(true);
        run();
    }
    ~Implementation() override {
        quit();
        join();
    }

    [[nodiscard]] bool queues() const noexcept {
        return m_active.load(std::memory_order_acquire) && writingHere != this;
    }
    void push(LogCategory category, String&& threadId, const String& className, const String& method,
              const String& text) {
        m_queue.fill([&](Message& message) noexcept {
            message.category = category;
            message.threadId = std::move(threadId);
            message.className = className;
            message.method = method;
            message.text = text;
        });
    }
    void quit() {
        if (m_active.exchange(false)) {
            m_queue.push(Message());
        }
    }
    bool flush(unsigned milliseconds);
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

    ConsoleStreams m_streams;
    std::atomic<bool> m_active{false};
    std::atomic<bool> m_lost{false};
    FifoNoBlockPush<Message> m_queue;
    LineWriter m_writer;
};

void Console::Implementation::main() {
    writingHere = this;
    Message message;
    while (m_active.load(std::memory_order_acquire)) {
        if (!m_queue.pop(message, kPopMilliseconds)) {
            continue;
        }
        try {
            handle(message);
        } catch (...) {
            // A line that cannot be written is lost; the next one may do better.
        }
        if (m_queue.empty()) {
            m_writer.writeOut();
        }
    }
    m_writer.writeOut();
    // Lines still queued after quit() are not written, by design.
    while (m_queue.pop(message, 0)) {
        m_lost = m_lost || !message.marker();
    }
}

void Console::Implementation::handle(const Message& message) {
    if (message.ticket.valid()) {
        m_writer.writeOut();
        message.ticket->done.release();
    } else if (!message.marker()) {
        m_writer.add(message.category, message.threadId, message.className, message.method, message.text);
    }
}

bool Console::Implementation::flush(unsigned milliseconds) {
    if (!queues()) {
        // Lines are written as they come, but for those that quit() left behind.
        return !m_lost;
    }
    Message message;
    message.ticket = new FlushTicket;
    const gc::Pointer<FlushTicket> ticket = message.ticket;
    m_queue.push(std::move(message));
    return ticket->done.acquire(milliseconds);
}

Console::Console() : m_implementation(std::make_unique<Implementation>()) {}

Console::~Console() = default;

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
    }
}

void Console::log(LogCategory category, const String& threadId, const String& className, const String& method,
                  const String& text) noexcept {
    try {
        logFrom(category, String(threadId), className, method, text);
    } catch (...) {
        // As above.
    }
}

void Console::logFrom(LogCategory category, String&& threadId, const String& className, const String& method,
                      const String& text) {
    if (m_implementation->queues()) {
        m_implementation->push(category, std::move(threadId), className, method, text);
    } else {
        print(category, threadId, className, method, text);
    }
}

void Console::print(LogCategory category, const String& threadId, const String& className, const String& method,
                    const String& text) {
    LineWriter writer(m_implementation->streams());
    writer.add(category, threadId, className, method, text);
    writer.writeOut();
}

void Console::setStream(LogCategory category, const String& destination) noexcept {
    setStream(category, computeStream(destination), destination);
}

void Console::setStream(LogCategory category, std::FILE* stream, const String& name) noexcept {
    m_implementation->streams().set(category, stream, name);
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
void Console::join() noexcept { m_implementation->join(); }
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
    (sink == nullptr ? &platform::systemLog : sink)(category, body);
}

}  // namespace tessel
