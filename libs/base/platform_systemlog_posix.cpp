// SPDX-License-Identifier: Apache-2.0
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "libs/base/mutex.h"
#include "libs/base/platform.h"

namespace tessel::platform {

namespace {

using std::chrono::steady_clock;

constexpr std::array<int, kLogCategories> kPriorities = {LOG_INFO, LOG_DEBUG, LOG_ERR, LOG_CRIT, LOG_WARNING};
constinit std::atomic<const char*> g_identity{nullptr};
constexpr std::size_t kMostWaitingBytes = 64 * 1024;
constexpr unsigned kShortestRetryMilliseconds = 10;
constexpr unsigned kLongestRetryMilliseconds = 1000;

enum class Offer { Taken, Full, Unreachable };

/// A connection to the log daemon's datagram socket.
class Daemon {
public:
    Daemon() noexcept { setPath("/dev/log"); }
    void setPath(const char* path) noexcept {
        disconnect();
        m_address = {};
        m_address.sun_family = AF_UNIX;
        std::memcpy(m_address.sun_path, path, ::strnlen(path, sizeof m_address.sun_path - 1));
        m_known = false;
        m_nextTry = {};
    }
    /// Sends a datagram, without its end where the system takes no longer one.
    Offer offer(std::string_view header, std::string_view body) noexcept;
    /// Whether there is, or was, a system log at all.
    [[nodiscard]] bool known() const noexcept { return m_known; }

private:
    bool connect() noexcept;
    void disconnect() noexcept;
    bool send(std::string_view header, std::string_view body) noexcept;

    sockaddr_un m_address{};
    int m_socket = -1;
    bool m_known = false;
    steady_clock::time_point m_nextTry;
};

bool Daemon::connect() noexcept {
    if (steady_clock::now() < m_nextTry) {
        return false;
    }
    m_socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (m_socket >= 0 && ::connect(m_socket, reinterpret_cast<const sockaddr*>(&m_address), sizeof m_address) == 0) {
        m_known = true;
        return true;
    }
    m_known = m_known || errno != ENOENT;
    disconnect();
    m_nextTry = steady_clock::now() + std::chrono::milliseconds(kLongestRetryMilliseconds);
    return false;
}

void Daemon::disconnect() noexcept {
    if (m_socket >= 0) {
        ::close(m_socket);
        m_socket = -1;
    }
}

bool Daemon::send(std::string_view header, std::string_view body) noexcept {
    std::array<iovec, 2> pieces = {iovec{const_cast<char*>(header.data()), header.size()},
                                   iovec{const_cast<char*>(body.data()), body.size()}};
    msghdr message{};
    message.msg_iov = pieces.data();
    message.msg_iovlen = pieces.size();
    return ::sendmsg(m_socket, &message, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0;
}

Offer Daemon::offer(std::string_view header, std::string_view body) noexcept {
    // A daemon that was started anew has another socket under the name.
    for (int connections = 0; connections < 2; ++connections) {
        if (m_socket < 0 && !connect()) {
            break;
        }
        while (!send(header, body)) {
            if (errno == EMSGSIZE && !body.empty()) {
                body = body.substr(0, body.size() / 2);
                continue;
            }
            if (errno == EAGAIN || errno == ENOBUFS || errno == EINTR) {
                return Offer::Full;
            }
            disconnect();
            break;
        }
        if (m_socket >= 0) {
            return Offer::Taken;
        }
    }
    return Offer::Unreachable;
}

/// "<priority>Mmm dd hh:mm:ss identity[process]: ", as RFC 3164 has it for messages that do not leave the machine.
class Header {
public:
    std::string_view make(LogCategory category) noexcept;

private:
    static constexpr std::array<const char*, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                            "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    std::time_t m_second = -1;
    std::tm m_local{};
    std::array<char, 96> m_text{};
};

std::string_view Header::make(LogCategory category) noexcept {
    const std::time_t now = ::time(nullptr);
    if (now != m_second) {
        ::localtime_r(&now, &m_local);
        m_second = now;
    }
    const char* const set = g_identity.load(std::memory_order_relaxed);
    const char* const identity = set != nullptr ? set : program_invocation_short_name;
    const int length =
        std::snprintf(m_text.data(), m_text.size(),
                      "<%d>%s %2d %02d:%02d:%02d %.32s[%ld]: ", LOG_USER | kPriorities[static_cast<unsigned>(category)],
                      kMonths[static_cast<unsigned>(m_local.tm_mon)], m_local.tm_mday, m_local.tm_hour, m_local.tm_min,
                      m_local.tm_sec, identity, static_cast<long>(::getpid()));
    return {m_text.data(), static_cast<std::size_t>(length)};
}

/// Lines on their way to the daemon. What it does not take at once waits, within kMostWaitingBytes, in order.
class SystemLog {
public:
    void setPath(const char* path) noexcept {
        const Lock lock(m_mutex);
        m_daemon.setPath(path);
        m_waiting.clear();
        m_waitingBytes = 0;
        m_lost = 0;
    }
    void add(LogCategory category, std::string_view body) noexcept;
    SystemLogState state(bool last) noexcept;

private:
    Offer offerWaiting() noexcept;
    void keep(std::string_view header, std::string_view body) noexcept;

    Mutex m_mutex;
    // Guarded by m_mutex:
    Daemon m_daemon;
    Header m_header;
    std::vector<std::string> m_waiting;  // oldest first
    std::size_t m_waitingBytes = 0;
    unsigned long m_lost = 0;
    // When to offer again: soon, and later and later as long as nothing is taken.
    unsigned m_retryMilliseconds = kShortestRetryMilliseconds;
};

void SystemLog::add(LogCategory category, std::string_view body) noexcept {
    const Lock lock(m_mutex);
    const std::string_view header = m_header.make(category);
    if (offerWaiting() != Offer::Taken || m_daemon.offer(header, body) != Offer::Taken) {
        keep(header, body);
    }
}

Offer SystemLog::offerWaiting() noexcept {
    Offer offer = Offer::Taken;
    auto next = m_waiting.begin();
    while (next != m_waiting.end() && (offer = m_daemon.offer({}, *next)) == Offer::Taken) {
        m_waitingBytes -= next->size();
        m_retryMilliseconds = kShortestRetryMilliseconds;
        ++next;
    }
    m_waiting.erase(m_waiting.begin(), next);
    return offer;
}

void SystemLog::keep(std::string_view header, std::string_view body) noexcept {
    if (!m_daemon.known()) {
        return;
    }
    const std::size_t size = header.size() + body.size();
    if (m_waitingBytes + size > kMostWaitingBytes) {
        ++m_lost;
        return;
    }
    try {
        std::string datagram;
        datagram.reserve(size);
        datagram.append(header).append(body);
        m_waiting.push_back(std::move(datagram));
        m_waitingBytes += size;
    } catch (...) {
        ++m_lost;
    }
}

SystemLogState SystemLog::state(bool last) noexcept {
    const Lock lock(m_mutex);
    const Offer offer = offerWaiting();
    if (last) {
        m_lost += m_waiting.size();
        m_waiting.clear();
        m_waitingBytes = 0;
    }
    if (offer != Offer::Taken && !last) {
        return {0, std::exchange(m_retryMilliseconds, std::min(2 * m_retryMilliseconds, kLongestRetryMilliseconds))};
    }
    return {std::exchange(m_lost, 0), 0};
}

SystemLog& systemLogOfProcess() noexcept {
    // Never destroyed, since lines come until the very end, and without the heap, which may have ended.
    alignas(SystemLog) static std::array<std::byte, sizeof(SystemLog)> storage;
    static auto* const log = new (storage.data()) SystemLog;
    return *log;
}

}  // namespace

void systemLog(LogCategory category, const String& body) noexcept { systemLogOfProcess().add(category, body.view()); }
void setSystemLogIdentity(const char* identity) noexcept { g_identity.store(identity, std::memory_order_relaxed); }
void setSystemLogPath(const char* path) noexcept { systemLogOfProcess().setPath(path); }
SystemLogState systemLogState(bool last) noexcept { return systemLogOfProcess().state(last); }

}  // namespace tessel::platform
