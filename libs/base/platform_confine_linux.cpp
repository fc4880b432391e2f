// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/landlock.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <string_view>

#include "libs/base/platform.h"

namespace tessel::platform {

namespace {

/// The file's first bytes in the buffer; nothing when it cannot be read.
template <std::size_t Size>
std::string_view readInto(std::array<char, Size>& buffer, const char* path) noexcept {
    const Descriptor file(::open(path, O_RDONLY | O_CLOEXEC));
    const ssize_t count = file.valid() ? ::read(file.get(), buffer.data(), buffer.size()) : -1;
    return {buffer.data(), count < 0 ? 0 : static_cast<std::size_t>(count)};
}

/// The decimal number at the text's beginning, behind blanks; 0 without one.
long numberAt(std::string_view text) noexcept {
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    long number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

// ---- Landlock ----

/// landlock_create_ruleset(2), with fields that the header of an older kernel lacks. Those at its end may be 0 for any
/// kernel.
struct Ruleset {
    std::uint64_t fileAccess = 0;
    std::uint64_t netAccess = 0;
    std::uint64_t scope = 0;
};
constexpr std::uint64_t kTruncate = 1ULL << 14U;     // version 3
constexpr std::uint64_t kScopeSignals = 1ULL << 1U;  // version 6

/// Every way to change what a file system holds that this version of Landlock knows.
std::uint64_t changes(long version) noexcept {
    std::uint64_t all = LANDLOCK_ACCESS_FS_WRITE_FILE | LANDLOCK_ACCESS_FS_REMOVE_DIR | LANDLOCK_ACCESS_FS_REMOVE_FILE |
                        LANDLOCK_ACCESS_FS_MAKE_CHAR | LANDLOCK_ACCESS_FS_MAKE_DIR | LANDLOCK_ACCESS_FS_MAKE_REG |
                        LANDLOCK_ACCESS_FS_MAKE_SOCK | LANDLOCK_ACCESS_FS_MAKE_FIFO | LANDLOCK_ACCESS_FS_MAKE_BLOCK |
                        LANDLOCK_ACCESS_FS_MAKE_SYM;
    if (version >= 2) {
        all |= LANDLOCK_ACCESS_FS_REFER;
    }
    if (version >= 3) {
        all |= kTruncate;
    }
    return all;
}

bool allow(int ruleset, std::uint64_t access, const char* path) noexcept {
    const Descriptor target(::open(path, O_PATH | O_CLOEXEC));
    landlock_path_beneath_attr rule{};
    rule.allowed_access = access;
    rule.parent_fd = target.get();
    return target.valid() && ::syscall(SYS_landlock_add_rule, ruleset, LANDLOCK_RULE_PATH_BENEATH, &rule, 0) == 0;
}

// ---- System calls ----

#if defined(__x86_64__)

// Not setuid and capset: without rights they give none, and programs that let go of what they have end when they fail.
// clang-format off
constexpr auto kRefused = std::to_array<unsigned>({
    SYS_ptrace, SYS_process_vm_readv, SYS_process_vm_writev, SYS_process_madvise, SYS_pidfd_getfd, SYS_kcmp,
    SYS_mount, SYS_umount2, SYS_pivot_root, SYS_chroot, SYS_open_tree, SYS_move_mount, SYS_fsopen, SYS_fsconfig,
    SYS_fsmount, SYS_fspick, SYS_mount_setattr, SYS_unshare, SYS_setns, SYS_open_by_handle_at,
    SYS_init_module, SYS_finit_module, SYS_delete_module, SYS_kexec_load, SYS_kexec_file_load, SYS_reboot,
    SYS_swapon, SYS_swapoff, SYS_sethostname, SYS_settimeofday, SYS_clock_settime, SYS_ioperm, SYS_iopl,
    SYS_bpf, SYS_perf_event_open, SYS_userfaultfd, SYS_io_uring_setup,
    SYS_keyctl, SYS_add_key, SYS_request_key,
});

/// The same for 32-bit code, which any process may run (arch/x86/entry/syscalls/syscall_32.tbl), line by line; it has no
/// kexec_file_load, and older forms of some.
constexpr auto kRefused32 = std::to_array<unsigned>({
    26, 347, 348, 440, 438, 349,
    21, 52, 217, 61, 428, 429, 430, 431, 432, 433, 442, 310, 346, 342,
    128, 350, 129, 283, 88, 87, 115, 74, 79, 264, 101, 110,
    357, 336, 374, 425,
    288, 286, 287,
    22, 404,
});
// clang-format on

/// The x32 interface counts its calls from here on; no system of ours uses it.
constexpr unsigned kFirstX32 = 0x40000000;

/// A program for the kernel's filter (seccomp(2)): of one interface it refuses these calls, other calls pass it by.
template <std::size_t Count>
class CallFilter {
public:
    CallFilter(unsigned architecture, const std::array<unsigned, Count>& calls) noexcept {
        add(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, arch));
        add(BPF_JMP | BPF_JEQ | BPF_K, architecture, 1);
        add(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
        add(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr));
        for (const unsigned call : calls) {
            refuse(BPF_JEQ, call);
        }
        refuse(BPF_JGE, kFirstX32);
        add(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
    }

    bool install() noexcept {
        const sock_fprog program{static_cast<unsigned short>(m_length), m_code.data()};
        return ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
    }

private:
    void add(unsigned code, unsigned value, unsigned char whenTrue = 0, unsigned char whenFalse = 0) noexcept {
        m_code[m_length++] = {static_cast<unsigned short>(code), whenTrue, whenFalse, value};
    }
    void refuse(unsigned comparison, unsigned call) noexcept {
        add(BPF_JMP | comparison | BPF_K, call, 0, 1);
        add(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM);
    }

    std::array<sock_filter, 2 * Count + 7> m_code{};
    std::size_t m_length = 0;
};

#endif

}  // namespace

bool hideFromTracers() noexcept { return ::prctl(PR_SET_DUMPABLE, 0) == 0; }

bool admitTracers() noexcept {
    ::prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY);  // an error where Yama does not restrict tracing
    return ::prctl(PR_SET_DUMPABLE, 1) == 0;
}

int tracingProcess() noexcept {
    constexpr std::string_view kField = "\nTracerPid:";
    std::array<char, 4096> buffer;
    const std::string_view status = readInto(buffer, "/proc/self/status");
    const std::size_t at = status.find(kField);
    return at == std::string_view::npos ? 0 : static_cast<int>(numberAt(status.substr(at + kField.size())));
}

bool yieldToOthers(int thousandths) noexcept {
    constexpr long kMost = 1000;
    std::array<char, 16> text;
    const char* const path = "/proc/self/oom_score_adj";
    const long wanted = std::min(kMost, numberAt(readInto(text, path)) + thousandths);
    const char* const end = std::to_chars(text.begin(), text.end(), wanted).ptr;
    const Descriptor file(::open(path, O_WRONLY | O_CLOEXEC));
    const auto length = static_cast<std::size_t>(end - text.data());
    return file.valid() && ::write(file.get(), text.data(), length) == static_cast<ssize_t>(length);
}

unsigned long ownMemory() noexcept {
    constexpr int kFieldsBefore = 5;  // proc(5), statm: size, resident, shared, text, lib
    std::array<char, 256> buffer;
    std::string_view text = readInto(buffer, "/proc/self/statm");
    for (int i = 0; i < kFieldsBefore; ++i) {
        text.remove_prefix(std::min(text.find(' '), text.size() - 1) + 1);
    }
    return static_cast<unsigned long>(numberAt(text) * (::sysconf(_SC_PAGESIZE) / 1024));
}

bool renouncePrivileges() noexcept { return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0; }

bool writeOnlyBeneath(const char* directory) noexcept {
    const long version = ::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
    if (version < 1) {
        return false;
    }
    Ruleset rules;
    rules.fileAccess = changes(version);
    rules.scope = version >= 6 ? kScopeSignals : 0;
    const Descriptor ruleset(static_cast<int>(::syscall(SYS_landlock_create_ruleset, &rules, sizeof rules, 0)));
    if (!ruleset.valid()) {
        return false;
    }
    allow(ruleset.get(), LANDLOCK_ACCESS_FS_WRITE_FILE | (rules.fileAccess & kTruncate), "/dev/null");
    const int missing = allow(ruleset.get(), rules.fileAccess, directory) ? 0 : errno;
    if (::syscall(SYS_landlock_restrict_self, ruleset.get(), 0) != 0) {
        return false;
    }
    errno = missing;
    return missing == 0;
}

bool refuseSystemCalls() noexcept {
#if defined(__x86_64__)
    return CallFilter(AUDIT_ARCH_X86_64, kRefused).install() && CallFilter(AUDIT_ARCH_I386, kRefused32).install();
#else
    errno = ENOSYS;
    return false;
#endif
}

}  // namespace tessel::platform
