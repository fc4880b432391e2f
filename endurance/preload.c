// SPDX-License-Identifier: Apache-2.0
// Preloaded into a session's programs (endurance.py); each of the two is for the one program that its variable names.
//
// NEBRIX_FAIL_PROGRAM: fails one call, of all its threads and of a forked child until that becomes another program.
//   NEBRIX_FAIL_KIND     what is counted: "memory", "system" (fails with the error in the list below) or "signal"
//   (those
//                        calls that a signal can interrupt, which fail with EINTR)
//   NEBRIX_FAIL_AT       the number of the call that fails, from 1; 0 for none
//   NEBRIX_FAIL_STACKS   where set, the report has a line for each call: its number, its stack's hash
//   NEBRIX_FAIL_REPORT   a file of kHeader bytes, which begin with the count (64 bits). Behind them come as text the
//   call
//                        that failed with its stack, then the signal and the stack of a death.
// NEBRIX_HURRY_PROGRAM: a thread that waits half a second, as for the next poll, does not wait.
//
// Calls are wrapped without their types: the machine's convention passes up to six integers or pointers alike.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <execinfo.h>
#include <fcntl.h>
#include <netdb.h>
#include <pthread.h>
#include <signal.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

enum { kHeader = 4096, kFrames = 48, kReport = 900 };
enum kind { NONE, MEMORY, SYSTEM, SIGNAL };

void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void* __libc_memalign(size_t, size_t);

// Constant once set_up() is over, but for what stands at g_count.
static enum kind g_kind = NONE;
static uint64_t* g_count = NULL;
static uint64_t g_at = 0;
static bool g_stacks = false;
static bool g_hurries = false;
static __thread bool t_busy = false;

static void report(const char* format, const char* text, uint64_t number, uint64_t hash) {
    char line[128];
    syscall(SYS_write, kReport, line, snprintf(line, sizeof line, format, text, number, hash));
}

static void report_stack(void) {
    void* frames[kFrames];
    backtrace_symbols_fd(frames, backtrace(frames, kFrames), kReport);
}

static void die(int number) {
    t_busy = true;
    report("died%s %lu\n", "", (uint64_t)number, 0);
    report_stack();
    signal(number, SIG_DFL);
    raise(number);
}

static uint64_t hash_of_stack(void) {
    void* frames[kFrames];
    uint64_t hash = 14695981039346656037U;  // FNV-1a
    for (int i = backtrace(frames, kFrames); i-- > 0;)
        hash = (hash ^ (uintptr_t)frames[i]) * 1099511628211U;
    return hash;
}

// Whether this call is the one. `error`: what it fails with, EINTR when by nothing but a signal.
static bool fails(enum kind kind, const char* call, int error, bool interruptible) {
    if (t_busy || !(g_kind == SIGNAL ? interruptible : kind == g_kind && error != EINTR))
        return false;
    const int before = errno;
    t_busy = true;
    const uint64_t number = __atomic_add_fetch(g_count, 1, __ATOMIC_RELAXED);
    if (g_stacks)
        report("%s %lu %lx\n", call, number, hash_of_stack());
    if (number == g_at) {
        report("failed %s\n", call, 0, 0);
        report_stack();
    }
    t_busy = false;
    errno = number != g_at ? before : g_kind == SIGNAL ? EINTR : error;
    return number == g_at;
}

static bool is_for_this(const char* variable) {
    const char* program = getenv(variable);
    return program != NULL && strcmp(program, program_invocation_short_name) == 0;
}

// Early: what the program's own constructors do counts.
__attribute__((constructor(101))) static void set_up(void) {
    g_hurries = is_for_this("NEBRIX_HURRY_PROGRAM");
    if (!is_for_this("NEBRIX_FAIL_PROGRAM"))
        return;
    const char* kind = getenv("NEBRIX_FAIL_KIND");
    void* frames[1];
    backtrace(frames, 1);  // loads what it needs
    const long opened = syscall(SYS_open, getenv("NEBRIX_FAIL_REPORT"), O_RDWR | O_APPEND);
    // High up, so that the program gets the numbers that it would get.
    syscall(SYS_dup3, opened, kReport, O_CLOEXEC);
    syscall(SYS_close, opened);
    g_count = (uint64_t*)syscall(SYS_mmap, NULL, kHeader, PROT_READ | PROT_WRITE, MAP_SHARED, kReport, 0L);
    struct sigaction action = {.sa_handler = die};
    sigaction(SIGSEGV, &action, NULL);
    sigaction(SIGBUS, &action, NULL);
    sigaction(SIGABRT, &action, NULL);
    g_at = strtoull(getenv("NEBRIX_FAIL_AT"), NULL, 10);
    g_stacks = getenv("NEBRIX_FAIL_STACKS") != NULL;
    g_kind = strcmp(kind, "memory") == 0 ? MEMORY : strcmp(kind, "system") == 0 ? SYSTEM : SIGNAL;
}

#define ALLOCATION(name, real, ...) return fails(MEMORY, name, ENOMEM, false) ? NULL : __libc_##real(__VA_ARGS__)
void* malloc(size_t size) { ALLOCATION("malloc", malloc, size); }
void* calloc(size_t count, size_t size) { ALLOCATION("calloc", calloc, count, size); }
void* realloc(void* old, size_t size) { ALLOCATION("realloc", realloc, old, size); }
void* aligned_alloc(size_t alignment, size_t size) { ALLOCATION("aligned_alloc", memalign, alignment, size); }

typedef long call(long, long, long, long, long, long);
static call* next(const char* name) {
    const bool busy = t_busy;
    t_busy = true;
    call* const found = (call*)dlsym(RTLD_NEXT, name);
    t_busy = busy;
    return found;
}

// clang-format off
#define WRAP(name, failed, error, interruptible)                             \
    long wrapped_##name(long, long, long, long, long, long) __asm__(#name);  \
    long wrapped_##name(long a, long b, long c, long d, long e, long f) {    \
        if (fails(SYSTEM, #name, error, interruptible)) return failed;       \
        return next(#name)(a, b, c, d, e, f);                                \
    }
// That return -1; that do and can be interrupted; that return null; that return what is wrong.
#define CALL(name, error) WRAP(name, -1, error, false)
#define WAIT(name, error) WRAP(name, -1, error, true)
#define NULLS(name, error) WRAP(name, 0, error, false)
#define TELLS(name, error) WRAP(name, error, error, false)
WAIT(read, EIO) WAIT(write, ENOSPC) WAIT(open, EMFILE) WAIT(openat, EMFILE) CALL(lseek, EINVAL) CALL(fsync, EIO)
CALL(ftruncate, EIO) WAIT(flock, ENOLCK) CALL(fcntl, EINVAL) CALL(fchmod, EPERM) CALL(chmod, EPERM) CALL(futimens, EPERM)
CALL(fstat, ENOMEM) CALL(stat, ENOMEM) CALL(lstat, ENOMEM) CALL(access, ENOMEM) CALL(faccessat, ENOMEM)
CALL(mkdir, ENOSPC) CALL(rmdir, EBUSY) CALL(unlink, EBUSY) CALL(remove, EBUSY) CALL(chdir, EACCES) CALL(rename, ENOSPC)
CALL(renameat2, ENOSPC) CALL(readlink, EACCES) CALL(mkostemp, EMFILE) NULLS(mkdtemp, ENOSPC) NULLS(getcwd, ENOMEM)
CALL(socket, EMFILE) CALL(socketpair, EMFILE) WAIT(connect, ENETUNREACH) CALL(getsockopt, ENOBUFS)
CALL(setsockopt, ENOBUFS) CALL(getsockname, ENOBUFS) CALL(getpeername, ENOBUFS) WAIT(send, ECONNRESET)
WAIT(sendmsg, ENOBUFS) WAIT(recv, ECONNRESET) WAIT(recvmsg, ENOMEM) WAIT(poll, ENOMEM) TELLS(getaddrinfo, EAI_AGAIN)
CALL(pipe, EMFILE) CALL(pipe2, EMFILE) CALL(dup, EMFILE) WAIT(dup2, EMFILE) CALL(memfd_create, EMFILE)
CALL(pidfd_open, EMFILE) WRAP(mmap, -1, ENOMEM, false) CALL(prctl, EPERM) CALL(fork, EAGAIN) CALL(execve, ENOMEM)
TELLS(posix_spawn, ENOMEM) TELLS(pthread_create, EAGAIN) WAIT(waitpid, EINTR) WAIT(wait4, EINTR) CALL(setsid, EPERM)
CALL(setrlimit, EPERM) WAIT(nanosleep, EINTR) NULLS(fopen, EMFILE) NULLS(fopen64, EMFILE) NULLS(fdopen, ENOMEM)
NULLS(opendir, EMFILE) NULLS(readdir, EIO) NULLS(fwrite, ENOSPC) CALL(fflush, ENOSPC)
    // clang-format on

    // The descriptor is gone either way.
    int close(int fd) {
    const bool failed = fails(SYSTEM, "close", EIO, true);
    const int error = errno;
    const long result = syscall(SYS_close, fd);
    if (failed)
        errno = error;
    return failed ? -1 : (int)result;
}

// The standard library looks at the clock behind a wait: the time that it is told then, once.
static __thread bool t_told = false;
static __thread struct timespec t_end;

int clock_gettime(clockid_t clock, struct timespec* now) {
    if (!t_told)
        return (int)syscall(SYS_clock_gettime, clock, now);
    *now = t_end;
    t_told = false;
    return 0;
}

int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                           const struct timespec* end) {
    struct timespec now;
    clock_gettime(clock, &now);
    const long left = (end->tv_sec - now.tv_sec) * 1000 + (end->tv_nsec - now.tv_nsec) / 1000000;
    const bool hurry = g_hurries && left > 450 && left <= 500;
    const long result =
        next("pthread_cond_clockwait")((long)condition, (long)mutex, clock, (long)(hurry ? &now : end), 0, 0);
    t_told = hurry && (int)result == ETIMEDOUT;
    t_end = *end;
    return (int)result;
}
