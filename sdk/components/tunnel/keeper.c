// SPDX-License-Identifier: MIT
#define _GNU_SOURCE
#include "keeper.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdint.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

// How long openvpn has for its own end: to clean up; after a second SIGTERM, which ends its goodbye to the server.
enum { kPolite = 150, kFirm = 450, kKilled = 100, kAfterwards = 200 };

// The keeper's own descriptors; the program's are 0 to 2 and kKeeperInherited.
enum { kConnection = kKeeperInherited + 1, kProgram, kFirstForeign };

static char* const kEnvironment[] = {"PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin", NULL};

// ---- In the keeper, and in the program's process before it is the program: what is called here may be called after a
// fork from a process with threads (signal-safety(7)).

static void close_from(int first) {
    if (syscall(SYS_close_range, (unsigned)first, ~0U, 0U) == 0)
        return;
    for (int descriptor = first; descriptor < 65536; descriptor++)
        close(descriptor);
}

// Gives the descriptors the numbers 0, 1, ... and closes all others.
static bool arrange(const int* descriptors, int count) {
    int high[kFirstForeign];
    for (int i = 0; i < count; i++) {
        high[i] = fcntl(descriptors[i], F_DUPFD, kFirstForeign);
        if (high[i] < 0)
            return false;
    }
    for (int i = 0; i < count; i++) {
        if (dup2(high[i], i) < 0)
            return false;
    }
    close_from(count);
    return true;
}

static void reset_signals(void) {
    struct sigaction fresh = {.sa_handler = SIG_DFL};
    sigset_t none;
    for (int number = 1; number < NSIG; number++)
        sigaction(number, &fresh, NULL);
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, NULL);
}

__attribute__((noreturn)) static void become(const char* const* arguments) {
    char* const* words = (char* const*)(uintptr_t)arguments;
    reset_signals();
    execve(words[0], words, kEnvironment);
    _exit(127);
}

__attribute__((noreturn)) static void become_program(const keeper_command* command, pid_t parent) {
    close_from(kConnection);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
        _exit(127);
    become(command->arguments);
}

static bool ended_within(int milliseconds) {
    struct pollfd program = {kProgram, POLLIN, 0};
    return poll(&program, 1, milliseconds) == 1;
}

static void end_program(pid_t program) {
    kill(program, SIGTERM);
    if (!ended_within(kPolite)) {
        kill(program, SIGTERM);
        if (!ended_within(kFirm)) {
            kill(program, SIGKILL);
            ended_within(kKilled);
        }
    }
    waitpid(program, NULL, 0);
}

// Until the program or the connection has ended.
static void watch(char record[kKeeperRecordSize]) {
    for (;;) {
        struct pollfd events[] = {{kConnection, POLLIN, 0}, {kProgram, POLLIN, 0}};
        if (poll(events, 2, -1) < 0)
            continue;
        if (events[1].revents != 0)
            return;
        if (recv(kConnection, record, kKeeperRecordSize, 0) != kKeeperRecordSize)
            return;
    }
}

__attribute__((noreturn)) static void keep(const keeper_command* command, const int* descriptors) {
    char record[kKeeperRecordSize] = "";
    prctl(PR_SET_NAME, "nebrix-tunnel");
    setsid();
    if (!arrange(descriptors, kProgram))
        _exit(127);
    pid_t self = getpid();
    pid_t program = fork();
    if (program == 0)
        become_program(command, self);
    // The lowest number that is free. Without it the keeper ends, and the program with it.
    if (program < 0 || syscall(SYS_pidfd_open, program, 0) != kProgram)
        _exit(127);
    int null = open("/dev/null", O_RDWR);
    for (int i = 0; i <= kKeeperInherited; i++)
        dup2(null, i);
    close(null);
    if (send(kConnection, &program, sizeof program, MSG_NOSIGNAL) == sizeof program)
        watch(record);
    end_program(program);
    close_from(kKeeperInherited);
    if (record[0] != '\0' && command->resolvconf != NULL)
        become((const char* const[]){command->resolvconf, "-d", record, NULL});
    _exit(0);
}

// ---- In this process.

static void close_both(int pair[2]) {
    close(pair[0]);
    close(pair[1]);
}

static bool fill(int pipe_end, const char* bytes, size_t size) {
    return fcntl(pipe_end, F_SETFL, O_NONBLOCK) == 0 && write(pipe_end, bytes, size) == (ssize_t)size;
}

static bool start(program_keeper* self, const keeper_command* command, int connection[2], int input[2], int output[2]) {
    // What is printed beyond the pipe's size is lost instead of waited for.
    if (!fill(input[1], command->input, command->input_size) || fcntl(output[1], F_SETFL, O_NONBLOCK) != 0 ||
        fcntl(output[0], F_SETFL, O_NONBLOCK) != 0)
        return false;
    close(input[1]);
    input[1] = -1;
    const int descriptors[] = {input[0], output[1], output[1], command->inherited, connection[1]};
    pid_t forked = fork();
    if (forked == 0)
        keep(command, descriptors);
    if (forked < 0)
        return false;
    *self = (program_keeper){forked, 0, connection[0], output[0]};
    close(connection[1]);
    close(output[1]);
    // The keeper says at once which process is the program, or ends.
    if (recv(self->connection, &self->program, sizeof self->program, MSG_WAITALL) != sizeof self->program)
        self->program = 0;
    return true;
}

bool keeper_start(program_keeper* self, const keeper_command* command) {
    int connection[2];
    int input[2];
    int output[2];
    *self = (program_keeper){0, 0, -1, -1};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, connection) != 0)
        return false;
    bool started = false;
    if (pipe2(input, O_CLOEXEC) == 0) {
        if (pipe2(output, O_CLOEXEC) == 0) {
            started = start(self, command, connection, input, output);
            if (!started)
                close_both(output);
        }
        close(input[0]);
        if (input[1] >= 0)
            close(input[1]);
    }
    if (!started)
        close_both(connection);
    return started;
}

void keeper_set_record(program_keeper* self, const char* record) {
    char whole[kKeeperRecordSize] = "";
    strncpy(whole, record, sizeof whole - 1);
    // A keeper that does not take it has ended.
    if (send(self->connection, whole, sizeof whole, MSG_NOSIGNAL) < 0)
        self->program = 0;
}

size_t keeper_output(program_keeper* self, char* out, size_t size) {
    ssize_t length = read(self->output, out, size);
    return length < 0 ? 0 : (size_t)length;
}

void keeper_stop(program_keeper* self) {
    const struct timespec tick = {0, 2 * 1000 * 1000};
    if (self->keeper == 0)
        return;
    close(self->connection);
    close(self->output);
    int ticks = (kPolite + kFirm + kKilled + kAfterwards) / 2;
    while (waitpid(self->keeper, NULL, WNOHANG) == 0 && ticks-- > 0)
        nanosleep(&tick, NULL);
    if (ticks <= 0) {
        kill(self->keeper, SIGKILL);
        waitpid(self->keeper, NULL, 0);
    }
    self->keeper = 0;
}
