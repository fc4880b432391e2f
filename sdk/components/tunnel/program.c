// SPDX-License-Identifier: MIT
#define _GNU_SOURCE
#include "program.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

const char* program_find(char out[kProgramPathSize], const char* name) {
    static const char* const kDirectories[] = {"/usr/local/sbin", "/usr/local/bin", "/usr/sbin",
                                               "/usr/bin",        "/sbin",          "/bin"};
    for (size_t i = 0; i < sizeof kDirectories / sizeof *kDirectories; i++) {
        snprintf(out, kProgramPathSize, "%s/%s", kDirectories[i], name);
        if (access(out, X_OK) == 0)
            return out;
    }
    return NULL;
}

// 0 if it could not be started.
static pid_t spawn(const char* const* arguments, int input) {
    static char* const kEnvironment[] = {"PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin", NULL};
    posix_spawn_file_actions_t files;
    posix_spawnattr_t attributes;
    sigset_t all;
    sigset_t none;
    sigfillset(&all);
    sigemptyset(&none);
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, input, STDIN_FILENO);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&files, STDOUT_FILENO, STDERR_FILENO);
    posix_spawn_file_actions_addclosefrom_np(&files, STDERR_FILENO + 1);
    pid_t program = 0;
    char* const* words = (char* const*)(uintptr_t)arguments;
    if (posix_spawn(&program, words[0], &files, &attributes, words, kEnvironment) != 0)
        program = 0;
    posix_spawn_file_actions_destroy(&files);
    posix_spawnattr_destroy(&attributes);
    return program;
}

static bool ended_well(pid_t program, int stop, int milliseconds) {
    int status = 1;
    int watched = (int)syscall(SYS_pidfd_open, program, 0);
    struct pollfd events[] = {{watched, POLLIN, 0}, {stop, POLLIN, 0}};
    if (watched < 0 || poll(events, 2, milliseconds) <= 0 || events[0].revents == 0)
        kill(-program, SIGKILL);
    if (watched >= 0)
        close(watched);
    return waitpid(program, &status, 0) == program && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool program_run(const char* const* arguments, const char* input, int stop, int milliseconds) {
    int pipe_ends[2];
    if (pipe2(pipe_ends, O_CLOEXEC) != 0)
        return false;
    size_t size = strlen(input);
    bool filled = fcntl(pipe_ends[1], F_SETFL, O_NONBLOCK) == 0 && write(pipe_ends[1], input, size) == (ssize_t)size;
    close(pipe_ends[1]);
    pid_t program = filled ? spawn(arguments, pipe_ends[0]) : 0;
    close(pipe_ends[0]);
    return program != 0 && ended_well(program, stop, milliseconds);
}
