// SPDX-License-Identifier: Apache-2.0
// A component, plug-in and host checker at once, that does what no component may, where and when it is told to.
//
// NEBRIX_TEST_ZOO in the environment: any number of ENTRY=HABIT or ENTRY@N=HABIT, parted by commas; N is the one call
// of the entry that has the habit, the first is 1. ENTRY is the name of any entry, or "constructor". HABIT is one of:
//   segv abort bus stack            ends by this signal (stack: by calling itself without end)
//   exit0 exit3 quit0 quit3         exit(3) with this status; _exit(2)
//   throw throwint                  std::runtime_error("of the zoo"); something that is no std::exception
//   later                           _exit(3) from a thread, a tenth of a second after
//   block slow                      never returns; returns after five seconds
//   memory gulp                     takes more and more memory; asks for 3 GiB at once, of which it uses nothing
//   print                           10 MB on standard output and 10 MB on standard error, then a line "zoo: printed"
//   disturb                         changes working directory, locale, file mask, signals' handlers and mask,
//   environment child                           starts a program that prints "alive" ten times a second, for a minute,
//   and lives on download                        four threads each fetch "/zoo/1" to "/zoo/4" into the plug-in's
//   directory late                            a thread fetches "/zoo/late" again and again, to the process's end peek
//   reads its parent's memory in three ways
// Calls are recorded (record.h), and what came out of "child" (its number), "download", "late" and "peek" too.
#include <fcntl.h>
#include <spawn.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>

extern "C" {
#include "tests/support/components/record.h"
}
#define NEBRIX_IMPLEMENT_PLUGIN
#define NEBRIX_IMPLEMENT_HOST_CHECKER
#include "sdk/include/nebrix_component.h"
#include "tests/support/components/setters.h"

namespace {

int g_instance;
void* volatile g_gulped;
NebrixDownloadFileTo g_download;

std::string& pluginDirectory() {
    static auto* const directory = new std::string;
    return *directory;
}

[[noreturn]] void block() {
    for (;;) {
        pause();
    }
}

int fallDeeper(volatile char* above) {
    volatile char here[4096];
    here[0] = above[0];
    return above[0] == 'e' ? 0 : fallDeeper(here) + here[0];
}

__attribute__((no_sanitize("undefined"))) void writeTo(volatile char* address) {
    *address = 1;  // NOLINT(clang-analyzer-core.NullDereference): it is meant
}

void exitLater() {
    std::thread([] {
        usleep(100000);
        _exit(3);
    }).detach();
}

void eatMemory() {
    constexpr std::size_t kMouthful = 1 << 20;
    for (;;) {
        void* const more = malloc(kMouthful);
        writeTo(static_cast<char*>(more == nullptr ? more : memset(more, 1, kMouthful)));
    }
}

void print() {
    const std::string line(99, 'z');
    for (int i = 0; i < 100'000; ++i) {
        std::fprintf(stdout, "%s\n", line.c_str());
        std::fprintf(stderr, "%s\n", line.c_str());
    }
    std::printf("zoo: printed\n");
}

void disturb() {
    sigset_t all;
    sigfillset(&all);
    if (chdir("/") != 0 || setlocale(LC_ALL, "C.UTF-8") == nullptr || sigprocmask(SIG_BLOCK, &all, nullptr) != 0) {
        abort();
    }
    umask(0777);
    for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGPIPE, SIGCHLD}) {
        std::signal(number, SIG_IGN);
    }
    clearenv();
}

void startChild() {
    const char* const arguments[] = {"sh", "-c", "for i in $(seq 600); do echo alive || exit; sleep 0.1; done",
                                     nullptr};
    pid_t child = -1;
    posix_spawnp(&child, "sh", nullptr, nullptr, const_cast<char* const*>(arguments), environ);
    record("child", std::to_string(child).c_str(), nullptr);
}

bool fetch(const std::string& name) {
    const bool done = g_download != nullptr && g_download(("/zoo/" + name).c_str(), (pluginDirectory() + name).c_str());
    record("download", name.c_str(), done ? "done" : "not done", nullptr);
    return done;
}

void fetchFour() {
    for (const char* name : {"1", "2", "3", "4"}) {
        std::thread([name] { fetch(name); }).detach();
    }
}

void fetchForEver() {
    std::thread([] {
        for (;;) {
            fetch("late");
            usleep(10'000);
        }
    }).detach();
}

void peek() {
    static char mine[] = "zoo";  // what lies there at the parent is not the same, but it is readable
    char seen[sizeof mine];
    const pid_t parent = getppid();
    const auto tell = [](const char* how, bool succeeded) {
        record("peek", how, succeeded ? "seen" : strerror(errno), nullptr);
    };
    tell("mem", open(("/proc/" + std::to_string(parent) + "/mem").c_str(), O_RDONLY | O_CLOEXEC) >= 0);
    tell("fd", access(("/proc/" + std::to_string(parent) + "/fd/0").c_str(), F_OK) == 0);
    const iovec to{seen, sizeof seen};
    const iovec from{mine, sizeof mine};
    // An address that is nobody's is EFAULT, once looking is allowed.
    tell("readv", process_vm_readv(parent, &to, 1, &from, 1, 0) >= 0 || errno == EFAULT);
    tell("ptrace", ptrace(PTRACE_SEIZE, parent, nullptr, nullptr) == 0);
}

void behave(const std::string& habit) {
    const std::map<std::string, void (*)()> habits = {
        {"segv", [] { writeTo(nullptr); }},
        {"abort", &abort},
        {"bus", [] { raise(SIGBUS); }},
        {"stack",
         [] {
             char first = 0;
             fallDeeper(&first);
         }},
        {"exit0", [] { exit(0); }},
        {"exit3", [] { exit(3); }},
        {"quit0", [] { _exit(0); }},
        {"quit3", [] { _exit(3); }},
        {"throw", [] { throw std::runtime_error("of the zoo"); }},
        {"throwint", [] { throw 1; }},
        {"later", &exitLater},
        {"block", &block},
        {"slow", [] { sleep(5); }},
        {"memory", &eatMemory},
        {"gulp", [] { g_gulped = malloc(3UL << 30U); }},
        {"print", &print},
        {"disturb", &disturb},
        {"child", &startChild},
        {"download", &fetchFour},
        {"late", &fetchForEver},
        {"peek", [] { std::thread(&peek).join(); }},  // whose end lets go of what it traces
    };
    const auto found = habits.find(habit);
    if (found == habits.end()) {
        std::fprintf(stderr, "zoo: there is no habit \"%s\"\n", habit.c_str());
        abort();
    }
    found->second();
}

/// Called by every entry, with its name.
void enter(const std::string& entry) {
    static auto* const calls = new std::map<std::string, int>;
    const std::string numbered = entry + "@" + std::to_string(++(*calls)[entry]);
    const char* const told = getenv("NEBRIX_TEST_ZOO");
    std::string rest = told == nullptr ? "" : told;
    while (!rest.empty()) {
        const std::string first = rest.substr(0, rest.find(','));
        rest.erase(0, first.size() + 1);
        const std::string where = first.substr(0, first.find('='));
        if (where == entry || where == numbered) {
            behave(first.substr(where.size() + 1));
        }
    }
}

__attribute__((constructor)) void construct() { enter("constructor"); }

void called(const char* entry, const char* value = nullptr) {
    record(entry, value, nullptr);
    enter(entry);
}

template <class Result>
Result called(const char* entry, const char* value, Result result) {
    called(entry, value);
    return result;
}

void set(const char* entry, const char* value) {
    if (strcmp(entry, "DllSetPluginDir2") == 0) {
        pluginDirectory() = value;
    }
    called(entry, value);
}

}  // namespace

extern "C" {

void* DllCreatePluginFrontal() { return called("DllCreatePluginFrontal", nullptr, &g_instance); }

#define SETTER(entry) \
    void entry(void*, const char* value) { set(#entry, value); }
PLUGIN_SETTERS(SETTER)
SETTER(DllAddSslServerCertificateName)

void DllSetDownloadDelegate2(void*, NebrixDownloadFileTo download) {
    g_download = download;
    called("DllSetDownloadDelegate2");
}
int LaunchSafeResource(void*, int, const char* name) { return called("LaunchSafeResource", name, 7); }
int DllExecute2(void*, const char*, const char*, const char*) { return called("DllExecute2", nullptr, 0); }
char* DllGetLogs2(void*) { return called("DllGetLogs2", nullptr, strdup("log of the zoo")); }
char* DllGetErrors2(void*) {
    return called("DllGetErrors2", nullptr, strdup(R"([{"code": 5, "status": "connected ip=10.0.0.7"}])"));
}
void DllStart2(void*) { called("DllStart2"); }
void DllStop2(void*) { called("DllStop2"); }
void DllReleaseStr(char* text) { free(text); }

void InitHostCheckerDll(const char*, const char*, const char* directory, const char*, const char*) {
    called("InitHostCheckerDll", directory);
}
char* GetValidRules(const char* request) {
    static char rules[] = "rule-a,rule-b";
    return called("GetValidRules", request, &rules[0]);
}
void CloseHostCheckerDll() { called("CloseHostCheckerDll"); }
}
