// SPDX-License-Identifier: Apache-2.0
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "apps/common/commandline.h"
#include "apps/common/privacy.h"
#include "apps/nebrixclient-cli/headlesslistener.h"
#include "apps/nebrixclient/certificatewords.h"
#include "apps/nebrixclient/client.h"
#include "apps/nebrixclient/versiontext.h"
#include "libs/base/console.h"
#include "libs/base/descriptor.h"
#include "libs/base/numbers.h"
#include "libs/base/platform.h"
#include "libs/base/printable.h"
#include "libs/http/authority.h"
#include "libs/http/uri.h"
#include "libs/openssl/fingerprint.h"

// Threads: the main thread waits for signals, which every other thread has blocked; the driver's thread prints the
// notifications and wakes the main thread with SIGUSR1 when the session is over.

namespace tessel {
namespace {

constexpr const char* kProgram = "nebrixclient-cli";
constexpr int kUsage = static_cast<int>(ExitCode::Usage);
constexpr int kSignalled = 128;  // plus the signal's number, as shells count
constexpr unsigned kLongestLink = 65536;
/// Two signals so close to each other are one request.
constexpr std::chrono::milliseconds kSameRequest{500};
constexpr unsigned kWriteMilliseconds = 500;

commandline::Grammar grammar() {
    return {
        .program = kProgram,
        .operands = "MEDIATION",
        .summary =
            "Opens the session that a mediation string names, without a window, and prints each notification "
            "as one line.",
        .options = {{"json", 'j', "", "print one JSON object a line", false},
                    {"changes-only", 'c', "", "leave out a VPN status that equals the one before", false},
                    {"trust", 't', "[HOST:PORT=]FINGERPRINT",
                     "for this session, accept of the gateway, or of another host that it names, the certificate with "
                     "this SHA-256 fingerprint, and no other",
                     true},
                    {"ca-file", 0, "FILE",
                     "the authorities (PEM) whose certificates count, instead of those whom this machine trusts",
                     false},
                    {"client-certificate", 0, "FILE",
                     "the certificate (PEM or PKCS #12) for a gateway that asks for the client's", false},
                    {"client-key", 0, "FILE", "its private key (PEM), where it is not in the same file", false},
                    {"client-key-password", 0, "FILE",
                     "the file whose first line opens the key; \"-\" reads the line from standard input, behind the "
                     "link's if that is read there",
                     false},
                    {"component-debugger", 'd', "", "let the component's process wait for a debugger", false},
                    {"help", 'h', "", "show this help", false},
                    {"version", 'V', "", "show the version and the key that components are verified against", false}},
        .fewestOperands = 1,
        .mostOperands = 1,
        .epilogue =
            "MEDIATION is the link from the gateway's page, https://IDENTIFIER@GATEWAY/PATH?QUERY;\n"
            "\"-\" reads it from standard input, so that no list of processes shows it.\n"
            "Ctrl-C or SIGTERM asks the session to end; one more than half a second later ends the program at once.\n"
            "Exit status: 0 an end that the user, the component or the gateway wanted; 1 a failure, or a component\n"
            "that asked for the end at once; 2 the command line is wrong; 3 the gateway could not be reached, or its\n"
            "certificate is not trusted. Standard error says why.\n"
            "The log is /tmp/nebrixclient.log.\n",
    };
}

/// What is too long for a line of standard input.
constexpr unsigned kLongestPassword = 4096;

/// Once the session is to end nobody waits for who reads the output.
std::atomic<bool> g_ending{false};

// Without a buffer of its own, so that it works when memory has ended.
void complain(std::string_view text) noexcept {
    for (std::string_view piece : {std::string_view(kProgram), std::string_view(": "), text, std::string_view("\n")}) {
        if (!platform::writeWithin(STDERR_FILENO, piece, kWriteMilliseconds) || !piece.empty()) {
            return;
        }
    }
}

void complainOf(const String& text) { complain(printable(text).view()); }

void printLine(const String& line) {
    const std::string text = line.str() + std::string("\n");
    std::string_view left = text;
    while (!left.empty() && platform::writeWithin(STDOUT_FILENO, left, kWriteMilliseconds) && !g_ending) {
    }
}

sigset_t watchedSignals() {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : {SIGINT, SIGTERM, SIGUSR1}) {
        sigaddset(&set, signal);
    }
    if (!platform::isSignalIgnored(SIGHUP)) {  // under nohup(1) the session outlives its terminal
        sigaddset(&set, SIGHUP);
    }
    return set;
}

/// Ends the program as the signal does by itself, so that whoever waits for it knows why.
[[noreturn]] void endBy(int signal) {
    std::signal(signal, SIG_DFL);
    pthread_kill(pthread_self(), signal);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signal);
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    _exit(kSignalled + signal);  // not reached where the signal can end it
}

/// Waits for the session's end. The first signal gives the attempt up, a later one the program. One that follows at
/// once is the same request: timeout(1) and shells send it to the program and to its group.
void waitForEnd(NebrixClient& client, const HeadlessListener& listener, const Descriptor& manager) {
    using Clock = std::chrono::steady_clock;
    const sigset_t set = watchedSignals();
    std::optional<Clock::time_point> asked;
    while (!listener.end().has_value()) {
        const int signal = sigwaitinfo(&set, nullptr);
        if (signal <= 0 || signal == SIGUSR1) {
            continue;
        }
        if (!asked.has_value()) {
            asked = Clock::now();
            g_ending = true;
            client.cancel();
            platform::tellServiceManager(manager, ServiceState::kStopping);
            complain("ending the session; a second signal ends the program at once");
        } else if (Clock::now() - *asked >= kSameRequest) {
            endBy(signal);
        }
    }
}

/// What somebody needs who decides on it, and how to say so.
void explainCertificate(const SessionEnd& end, const ManagedSettings& managed) {
    complainOf("the certificate of " + end.host + " is not trusted: " + flawsInWords(*end.peer));
    for (const String& line : linesOf(*end.peer)) {
        complainOf("  " + line);
    }
    if (managed.refuseExceptions) {
        complainOf("it cannot be accepted here: " + managed.path + " forbids certificate exceptions");
    } else if (end.cause != EndCause::NotTheOne) {
        const bool gateway = end.request == EndKind::Unreachable;
        complainOf("if whoever runs " + (gateway ? String("the gateway") : end.host) +
                   " names this fingerprint, --trust " + (gateway ? String() : String(end.host + "=")) +
                   "FINGERPRINT accepts the certificate for one session");
    }
}

void explain(const SessionEnd& end, const ManagedSettings& managed) {
    if (end.kind == EndKind::Certificate && end.peer != nullptr) {
        explainCertificate(end, managed);
    } else {
        complainOf(describe(end));
    }
    const String log = NebrixClient::getLogFile();
    complainOf(log == "null" ? String("no log file could be written") : String("the log is " + log));
}

/// A server, empty for the gateway, and the fingerprint of the only certificate that is accepted of it.
using Trusted = std::pair<String, String>;

int runSession(const String& mediation, const std::vector<Trusted>& trusted, const TlsFiles& tlsFiles,
               const commandline::Arguments& arguments) {
    const sigset_t set = watchedSignals();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    const Descriptor manager = platform::connectServiceManager();
    const pthread_t mainThread = pthread_self();
    HeadlessListener listener(
        arguments.has("json") ? eventline::Form::Json : eventline::Form::Text, arguments.has("changes-only"),
        &printLine, [&manager](const String& state) { platform::tellServiceManager(manager, state.view()); },
        [mainThread] { pthread_kill(mainThread, SIGUSR1); });
    NebrixClient client(listener);
    client.setAccountListener(&listener);
    client.localConfiguration().setTlsFiles(tlsFiles);
    const ManagedSettings& managed = client.localConfiguration().managed();
    if (managed.refuseExceptions && !managed.keys.empty() && !trusted.empty()) {
        complainOf("--trust is refused: " + managed.path + " forbids certificate exceptions");
        return kUsage;
    }
    for (const auto& [server, fingerprint] : trusted) {
        client.expectCertificate(server, fingerprint);
    }
    client.setComponentDebugger(arguments.has("component-debugger"));
    client.run(mediation);
    waitForEnd(client, listener, manager);
    client.join();
    const SessionEnd end = *listener.end();
    const ExitCode code = exitCodeOf(end);
    if (code != ExitCode::Wanted) {
        explain(end, managed);
    }
    return static_cast<int>(code);
}

/// The next line of standard input; nothing when it is longer.
std::optional<String> readLine(unsigned longest) {
    String line;
    for (int c = std::getchar(); c != EOF && c != '\n'; c = std::getchar()) {
        if (line.length() == longest) {
            return std::nullopt;
        }
        line.append(1, static_cast<char>(c));
    }
    return line;
}

/// The operand, or the first line of standard input; nothing when that is too long to be a link.
std::optional<String> readMediation(const std::string& operand) {
    if (operand != "-") {
        return String::copy(operand);
    }
    const std::optional<String> line = readLine(kLongestLink);
    return line ? std::optional(line->trim()) : std::nullopt;
}

/// From where the program starts, since it goes elsewhere.
String absolutePath(const std::string& path) {
    return path.empty() ? String() : String::copy(std::filesystem::absolute(path).string());
}

/// What is wrong with the options stands on standard error then.
std::optional<TlsFiles> tlsFilesOf(const commandline::Arguments& arguments) {
    const std::string password = arguments.value("client-key-password");
    TlsFiles files{.authorities = absolutePath(arguments.value("ca-file")),
                   .certificate = absolutePath(arguments.value("client-certificate")),
                   .key = absolutePath(arguments.value("client-key")),
                   .passwordFile = password == "-" ? String() : absolutePath(password)};
    if (files.certificate.empty() && (!files.key.empty() || !password.empty())) {
        complain("a client's key is of no use without --client-certificate");
        return std::nullopt;
    }
    if (password == "-") {
        files.password = readLine(kLongestPassword);
        if (!files.password) {
            complainOf("the password on standard input is longer than " + toString(kLongestPassword) + " bytes");
            return std::nullopt;
        }
    }
    return files;
}

/// Nothing for what has no fingerprint in it.
std::optional<Trusted> readTrusted(const std::string& text) {
    const std::size_t equals = text.rfind('=');
    const std::size_t begin = equals == std::string::npos ? 0 : equals + 1;
    const Trusted trusted(String::copy(text.substr(0, begin == 0 ? 0 : equals)),
                          tls::fingerprintBytes(String::copy(text.substr(begin))).toHex());
    return trusted.second.empty() || (begin > 0 && trusted.first.empty()) ? std::nullopt : std::optional(trusted);
}

bool isMediation(const String& text) {
    try {
        return http::Authority(http::Uri::parse(text).getAuthority()).valid();
    } catch (const http::EUri&) {
        return false;
    }
}

/// What kept the session from beginning. Memory may be what has ended.
void explainStart(const Exception& caught) noexcept {
    try {
        complainOf("cannot start: " + describe(endOf(caught)));
    } catch (...) {
        complain("cannot start");
    }
}

int run(int argc, char** argv) {
    privacy::hideMemory();
    const commandline::Grammar options = grammar();
    std::vector<std::string> taken = platform::takeArguments(argc, argv);
    std::vector<char*> words{argv[0]};
    for (std::string& word : taken) {
        words.push_back(word.data());
    }
    const commandline::Arguments arguments = commandline::parse(options, static_cast<int>(words.size()), words.data());
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
        std::puts(versionText(kProgram).c_str());
        return 0;
    }
    const std::optional<String> read = readMediation(arguments.operands().front());
    if (!read.has_value()) {
        complainOf("the link on standard input is longer than " + toString(kLongestLink) + " bytes");
        return kUsage;
    }
    const String& mediation = *read;
    if (!isMediation(mediation)) {
        complain("the mediation string is no URL with a gateway in it");
        return kUsage;
    }
    std::vector<Trusted> trusted;
    for (const std::string& text : arguments.values("trust")) {
        const std::optional<Trusted> one = readTrusted(text);
        if (!one.has_value()) {
            complain("a fingerprint has 64 hexadecimal digits, with or without colons between them");
            return kUsage;
        }
        trusted.push_back(*one);
    }
    const std::optional<TlsFiles> tlsFiles = tlsFilesOf(arguments);
    return tlsFiles ? runSession(mediation, trusted, *tlsFiles, arguments) : kUsage;
}

}  // namespace
}  // namespace tessel

int main(int argc, char** argv) {
    try {
        return tessel::run(argc, argv);
    } catch (const std::bad_alloc&) {
        tessel::complain("this machine gives the program too little memory");
    } catch (const tessel::Exception& caught) {
        tessel::explainStart(caught);
    } catch (const std::exception& caught) {
        tessel::complain(caught.what());
    } catch (...) {
        tessel::complain("cannot start");
    }
    return static_cast<int>(tessel::ExitCode::Failed);
}
