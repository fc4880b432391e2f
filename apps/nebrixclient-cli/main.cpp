#include <pthread.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <ctime>
#include <string>

#include "apps/common/commandline.h"
#include "apps/nebrixclient-cli/headlesslistener.h"
#include "apps/nebrixclient/client.h"
#include "generated/component_public_key.h"
#include "libs/base/console.h"
#include "libs/base/file.h"
#include "libs/base/platform.h"
#include "libs/http/uri.h"

// Threads: the main thread waits for signals, which every other thread has blocked; the driver's thread prints the
// notifications and wakes the main thread with SIGUSR1 when the outcome is known; the console's thread keeps the last
// error for the user.

namespace tessel {
namespace {

constexpr const char* kProgram = "nebrixclient-cli";
constexpr int kUsage = 2;
constexpr int kSignalled = 128;  // plus the signal's number, as shells count
constexpr int kCurlPeerFailedVerification = 60;
constexpr unsigned kFlushMilliseconds = 2000;

commandline::Grammar grammar() {
    return {
        .program = kProgram,
        .operands = "MEDIATION",
        .summary =
            "Opens the session that a mediation string names, without a window, and prints each notification "
            "as one line.",
        .options = {{"json", 'j', "", "print one JSON object a line", false},
                    {"changes-only", 'c', "", "leave out a VPN status that equals the one before", false},
                    {"help", 'h', "", "show this help", false},
                    {"version", 'V', "", "show the version and the key that components are verified against", false}},
        .fewestOperands = 1,
        .mostOperands = 1,
        .epilogue =
            "MEDIATION is the link from the gateway's page, https://IDENTIFIER@GATEWAY/PATH?QUERY;\n"
            "\"-\" reads it from standard input, so that no list of processes shows it.\n"
            "Ctrl-C or SIGTERM asks the session to end; a second one ends the program at once.\n"
            "Exit codes: 0 session over, 1 fatal error, 2 usage, 3 the gateway could not be reached.\n"
            "The log is /tmp/nebrixclient.log.\n",
    };
}

/// The last two errors that were logged, for the words on standard error: the first of them often says why.
/// Written by the console's thread, read by the main thread; lives as long as the process, as that thread may.
class LastErrors {
public:
    static LastErrors& instance() {
        static LastErrors* const errors = new LastErrors;
        return *errors;
    }
    static void sink(LogCategory category, const String& body) {
        if (category == LogCategory::Error) {
            instance().add(textOf(body));
        }
        platform::systemLog(category, body);
    }
    String text() {
        Lock lock(m_mutex);
        return m_before.empty() ? m_last : String(m_before + "; " + m_last);
    }

private:
    void add(const String& text) {
        Lock lock(m_mutex);
        m_before = m_last;
        m_last = text;
    }
    /// What stands behind "[thread] ERROR Class.method ", copied: the body is only lent.
    static String textOf(const String& body) { return body.right(']').trim().right(' ').right(' ').clone(); }

    Mutex m_mutex;  // guards all below
    String m_before;
    String m_last;
};

void complain(const std::string& text) { std::fprintf(stderr, "%s: %s\n", kProgram, text.c_str()); }

void printLine(const String& line) {
    std::printf("%.*s\n", static_cast<int>(line.length()), line.array());
    std::fflush(stdout);
}

sigset_t watchedSignals() {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGUSR1}) {
        sigaddset(&set, signal);
    }
    return set;
}

/// Waits for the session's end. The first signal gives the attempt up, the second one the program.
void waitForEnd(NebrixClient& client, const HeadlessListener& listener) {
    const sigset_t set = watchedSignals();
    bool stopping = false;
    while (!listener.outcome().has_value()) {
        const int signal = sigwaitinfo(&set, nullptr);
        if (signal > 0 && signal != SIGUSR1) {
            if (stopping) {
                _exit(kSignalled + signal);
            }
            stopping = true;
            complain("ending the session; a second signal ends the program at once");
            client.cancel();
        }
    }
}

void explainUnreachable(const NebrixClient& client, const HeadlessListener& listener) {
    const String gateway = client.getServer();
    complain(std::string("the gateway ") + std::string(gateway.view()) +
             " could not be reached: " + std::string(listener.errorText().view()));
    if (listener.errorCode() == kCurlPeerFailedVerification) {
        complain(std::string("if you trust this gateway, except it from the check: ") +
                 NebrixClient::getLocalConfPath().str() + " takes <nebrixclient><sslcertignoredomains><domains>" +
                 std::string(gateway.view()) + "</domains></sslcertignoredomains></nebrixclient>");
    }
}

void explainFatal() {
    if (const gc::Pointer<Console> console = Console::current(); console.valid()) {
        console->flush(kFlushMilliseconds);
    }
    const String last = eventline::printable(LastErrors::instance().text());
    complain("the session failed" + (last.empty() ? std::string() : ": " + std::string(last.view())));
}

int runSession(const String& mediation, const commandline::Arguments& arguments) {
    const sigset_t set = watchedSignals();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    Console::setSystemLogSink(&LastErrors::sink);

    const pthread_t mainThread = pthread_self();
    HeadlessListener listener(arguments.has("json") ? eventline::Form::Json : eventline::Form::Text,
                              arguments.has("changes-only"), &printLine,
                              [mainThread] { pthread_kill(mainThread, SIGUSR1); });
    NebrixClient client(listener);
    client.run(mediation);
    waitForEnd(client, listener);
    client.join();
    const Outcome outcome = *listener.outcome();
    if (outcome == Outcome::Unreachable) {
        explainUnreachable(client, listener);
    } else if (outcome == Outcome::FatalError) {
        explainFatal();
    }
    if (outcome != Outcome::SessionOver) {
        complain(std::string("the log is ") + kLogFile);
    }
    return static_cast<int>(outcome);
}

/// The operand, or the first line of standard input.
String readMediation(const std::string& operand) {
    if (operand != "-") {
        return String::copy(operand);
    }
    constexpr unsigned kLongest = 65536;
    String line;
    for (int c = std::getchar(); c != EOF && c != '\n' && line.length() < kLongest; c = std::getchar()) {
        line.append(1, static_cast<char>(c));
    }
    return line.trim();
}

bool isMediation(const String& text) {
    try {
        return !http::Uri::parse(text).getAuthority().empty();
    } catch (const Exception&) {
        return false;
    }
}

void showVersion() {
    std::printf("%s %s\ncomponents are verified against %s\n", kProgram, kClientVersion,
                kComponentPublicKeyIsDevelopment ? "the DEVELOPMENT key, whose private half is public"
                                                 : "the key chosen when this program was built");
}

int run(int argc, char** argv) {
    const commandline::Grammar options = grammar();
    const commandline::Arguments arguments = commandline::parse(options, argc, argv);
    if (!arguments.error().empty()) {
        complain(arguments.error());
        std::fprintf(stderr, "Try \"%s --help\".\n", kProgram);
        return kUsage;
    }
    if (arguments.has("help")) {
        std::puts(commandline::help(options).c_str());
        return 0;
    }
    if (arguments.has("version")) {
        showVersion();
        return 0;
    }
    const String mediation = readMediation(arguments.operands().front());
    if (!isMediation(mediation)) {
        complain("the mediation string is no URL with a gateway in it");
        return kUsage;
    }
    return runSession(mediation, arguments);
}

}  // namespace
}  // namespace tessel

int main(int argc, char** argv) {
    try {
        return tessel::run(argc, argv);
    } catch (const tessel::EFile&) {
        tessel::complain("cannot start: " + std::string(tessel::File::getUserApplicationDataDirectory().view()) +
                         " cannot be made or entered");
    } catch (const tessel::Exception& caught) {
        tessel::complain(std::string("cannot start: ") + caught.toString().str());
    } catch (const std::exception& caught) {
        tessel::complain(std::string("cannot start: ") + caught.what());
    }
    return static_cast<int>(tessel::Outcome::FatalError);
}
