// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "libs/base/descriptor.h"
#include "libs/base/log.h"
#include "libs/base/string.h"

/// Everything in the toolkit that knows the operating system beyond POSIX threads and plain files.
/// Each function may be called on any thread.
namespace tessel::platform {

/// One line to the system's log: a datagram (RFC 3164, facility user, identity and the process's number) to the socket
/// /dev/log. Never waits: what the log's daemon does not take at once is kept, up to 64 KiB, and
/// offered again before the next line; what is beyond that is lost and counted. A body is cut to what a datagram
/// takes. After a daemon's restart the connection is made anew, at most once in a second. Where there never was a
/// log, nothing is kept or counted. A daemon that listens on a stream is not reached.
void systemLog(LogCategory category, const String& body) noexcept;
/// Offers again what is kept.
struct SystemLogState {
    /// Lines lost since the last report; 0 as long as some are kept.
    unsigned long lost;
    /// When to ask again for the sake of what is kept, later each time in vain, at most 1000; 0 when nothing is.
    unsigned retryMilliseconds;
};
/// With `last`, what is still kept then is lost.
SystemLogState systemLogState(bool last) noexcept;
/// Who the lines are from, a constant text; the program's own name without this.
void setSystemLogIdentity(const char* identity) noexcept;
/// Another socket in place of /dev/log, for tests; forgets what is kept and counted. A longer path than a socket can
/// have (107 bytes) is cut.
void setSystemLogPath(const char* path) noexcept;

/// A connection to the service manager that started this process and wants to hear of it (NOTIFY_SOCKET, sd_notify(3));
/// none where there is no such manager. Takes the variable out of the environment, so that no other program speaks for
/// this one: to be called before there are other threads.
Descriptor connectServiceManager() noexcept;
/// Sends a message of lines such as "READY=1"; waits at most a second for a manager that is busy. An empty one is not
/// sent, and without a connection none is.
void tellServiceManager(const Descriptor& connection, std::string_view state) noexcept;

/// Writes to a descriptor, also to one that blocks, and takes from the text what was written. Returns when all is, or
/// when so long nothing was accepted, or, with false, when writing fails. Regular files are not bounded in time. Where
/// another process fills the same pipe, or a terminal the rest of its buffer, between the look and the write, that
/// write may wait for the reader.
bool writeWithin(int descriptor, std::string_view& text, unsigned milliseconds) noexcept;
/// Writes out what is in the stream's buffer, unless that would wait.
void flushWithoutWaiting(std::FILE* stream) noexcept;

/// Opens a log file for appending, emptied, for its owner alone; null when it cannot be opened or is a symbolic
/// link, no regular file or another user's. Not inherited by other programs.
std::FILE* openLogFile(const char* path) noexcept;

/// Copies of the arguments behind the program's name. Those that are no options are then overwritten where every user
/// of the machine can read them, in the list of processes, as far as the system keeps them in the program's memory.
std::vector<std::string> takeArguments(int argc, char** argv);

/// The system's words for an errno, in English whatever the locale; empty for 0.
String errorText(int systemError);

/// The system's name, release and version text; false when it does not tell.
struct SystemNames {
    String name;
    String release;
    String version;
    String node;
    String machine;
};
bool systemNames(SystemNames& out);

/// Names the calling thread for debuggers and ps; cut to what the system allows (15 bytes).
void nameCurrentThread(const String& name) noexcept;
/// The system's number of the calling thread.
unsigned long currentThreadId() noexcept;
/// Whether the caller is the process's initial thread.
bool isInitialThread() noexcept;
/// How kindly the scheduler treats the calling thread: above 0 better than others, below 0 worse. Advice only.
void prioritiseCurrentThread(int priority) noexcept;

/// Sleeps while the word holds this value, at most so long; may return early. Orders no memory: read the word anew.
void waitWhile(std::atomic<std::uint32_t>& word, std::uint32_t value, unsigned milliseconds) noexcept;
/// Wakes one thread that sleeps on the word; does not touch the word itself.
void wakeOne(std::atomic<std::uint32_t>& word) noexcept;

/// Lets the system remember children that have ended until they are waited for, where whoever started this program had
/// it forget them: an ignored SIGCHLD outlives execve(2). What starts a process here begins with it.
void keepEndedChildren() noexcept;

/// Whether whoever started this program had it ignore the signal, as nohup(1) does with SIGHUP. Before handlers are
/// set.
bool isSignalIgnored(int signal) noexcept;

/// Runs a command through the system's shell and waits for it: its exit status, 128 and the signal's number when it
/// was killed, or -1 when there was no process for it.
///
/// The command gets the PATH /usr/bin:/bin, no descriptor but /dev/null as its standard three, no terminal and none of
/// unzip's option variables, and no file of its making grows beyond maxFileBytes. The shell is killed when the calling
/// thread ends before it, however that ends; `exec` in front of a command makes that true of the command. `goOn`, if
/// there is one, is asked again and again, at least every few hundredths of a second, and must not raise: once it says
/// no, the shell and what it started are killed.
int runShell(const String& command, std::uint64_t maxFileBytes, const std::function<bool()>& goOn = {});

/// Puts `fresh` in the place of `target`, in one step where the system can; what stood there before is then found
/// under `fresh`'s name (or nowhere, if there was nothing). False when it failed and nothing has changed.
bool replaceDirectory(const char* fresh, const char* target) noexcept;

/// A copy of what the descriptor reads from its beginning, at most so many bytes, in memory that can be run and that
/// nobody can write to, lengthen or shorten any more. None, with errno, when it fails; EFBIG when there is more. `why`
/// says in words what errno does not.
Descriptor sealedCopy(int descriptor, std::uint64_t most, String& why) noexcept;
/// Whether the descriptor is such memory.
bool isSealed(int descriptor) noexcept;

/// A program to be started, and what it gets: nothing else is open in it, no signal is ignored or blocked.
struct ProcessStart {
    String program;                        // a path
    std::vector<std::string> arguments{};  // behind the name
    int input = -1;                        // becomes standard input; -1 for /dev/null
    int output = -1;                       // becomes standard output and error; -1 for /dev/null
    std::vector<int> descriptors{};        // become 3, 4, ...
};
struct StartedProcess {
    int id = -1;          // -1 when there is none
    int systemError = 0;  // which says why
    Descriptor ended{};   // polls as readable once the process has ended
};
/// Starts a program in a session of its own, without a terminal. It is the caller's to reap.
StartedProcess startProcess(const ProcessStart& start);

/// How a process ended.
struct ProcessEnd {
    int status = 0;  // of its exit
    int signal = 0;  // the one that ended it, or 0
    bool coreDumped = false;
    unsigned long mostKiB = 0;  // of memory that it used at one time
};
/// Waits for a process of ours to end, and lets the system forget it.
ProcessEnd reapProcess(int id) noexcept;
/// Ends a process of ours, which must not be reaped yet, by SIGKILL.
void killProcess(int id) noexcept;
/// The same, and with it those that it has started and that have not left its process group.
void killProcessGroup(int id) noexcept;
/// The calling process is killed when the thread that started it ends, however that comes.
void endWithParent() noexcept;

/// What follows takes power from the calling process, for good. False, with errno, where the system does not do it.

/// No process of the same user sees this one's memory, descriptors or environment any more, or traces it, and it leaves
/// no core dump. Its own files in /proc that only their owner may read or write belong to root from then on. Programs
/// that it starts are as visible as others.
bool hideFromTracers() noexcept;
/// The contrary, also where tracing is for ancestors alone (Yama).
bool admitTracers() noexcept;
/// The number of the process that traces this one, or 0.
int tracingProcess() noexcept;

/// Lets the system, when memory ends, end this process earlier than others by so many thousandths of all memory; so it
/// will with the programs that this one starts.
bool yieldToOthers(int thousandths) noexcept;
/// KiB of memory that is this process's alone to write to, used or only asked for; 0 when the system does not tell.
/// Allocates nothing.
unsigned long ownMemory() noexcept;

/// No program that is started from here on gains rights by set-user-ID, set-group-ID or file capabilities: sudo,
/// pkexec, mount, fusermount and pppd fail.
bool renouncePrivileges() noexcept;
/// Nothing is written, made, renamed or removed any more by the calling thread and those that it starts, programs
/// included, but beneath the directory and in /dev/null; nor do they trace or signal processes outside, or mount. The
/// directory's absence is an error, and everything is refused then. Needs renouncePrivileges(). What the kernel's
/// version of Landlock cannot hold it leaves free: truncating files before 6.2, signals before 6.12.
bool writeOnlyBeneath(const char* directory) noexcept;
/// System calls that change or look into the system or other processes fail with EPERM from then on, in the calling
/// thread and those that it starts, programs included. Needs renouncePrivileges().
bool refuseSystemCalls() noexcept;

/// How a file was read that decides for others than its reader.
enum class Guarded {
    Read,
    Missing,       ///< It, or the directory that it would lie in.
    Unreadable,    ///< The system does not let it be read.
    NotAFile,      ///< It is no regular file, or a symbolic link.
    ForeignOwner,  ///< It or its directory belongs to somebody else than the one user who may write it.
    Writable,      ///< Its group or everybody may write it, or exchange it in its directory.
    TooLong
};
/// Appends the content of a file that only `owner` can have written, when it has at most so many bytes. Never waits
/// for a pipe. Also a file that is not there must be the owner's doing: it is Missing only in a directory of his.
Guarded readGuarded(const String& path, unsigned owner, std::size_t most, String& content);
/// Where an administrator's settings lie that hold for every user of the machine.
String managedSettingsPath();

/// The directory of the running program, without a final "/"; empty when the system does not tell.
String programDirectory();

}  // namespace tessel::platform
