// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/componentprocess.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "apps/component/helperprogram.h"
#include "apps/component/hostoptions.h"
#include "apps/nebrixclient/sites.h"
#include "libs/base/log.h"
#include "libs/base/numbers.h"

namespace tessel {

namespace {

constexpr const char* kClassName = "ComponentProcess";
constexpr const char* kProgram = "nebrix-component-host";

String& programForTests() {
    static String path;
    return path;
}

String findProgram() { return programForTests().empty() ? helperProgram(kProgram) : programForTests(); }

std::vector<std::string> arguments(const ComponentProcess::Setup& setup) {
    std::vector<std::string> list{kMemoryLimitOption + std::to_string(setup.memoryLimit)};
    if (setup.debugger) {
        list.emplace_back(kDebuggerOption);
    }
    return list;
}

String inWords(const platform::ProcessEnd& end) {
    if (end.signal == 0) {
        return "it ended its process with status " + toString(end.status);
    }
    const char* const name = ::sigabbrev_np(end.signal);
    return "it was ended by signal " + toString(end.signal) +
           (name == nullptr ? String() : String(" (SIG" + String(name) + ")")) +
           (end.coreDumped ? String(", core dumped") : String());
}

bool isReadable(int descriptor) {
    pollfd entry{descriptor, POLLIN, 0};
    return ::poll(&entry, 1, 0) > 0;
}

}  // namespace

void ComponentProcess::useProgram(const String& path) { programForTests() = path; }

ComponentProcess::ComponentProcess(Setup setup, SessionAccount& account)
    : m_setup(std::move(setup)), m_account(account), m_program(findProgram()) {
    start();
}

void ComponentProcess::start() {
    auto [calls, hostCalls] = Channel::makePair(SOCK_STREAM);
    auto [files, hostFiles] = Channel::makePair(SOCK_STREAM);
    // Datagrams, so that what a component starts and leaves behind is not ended by what it prints later (SIGPIPE).
    auto [output, hostOutput] = Channel::makePair(SOCK_DGRAM);
    std::tie(m_hurry, m_hurried) = Channel::makePair(SOCK_STREAM);
    m_channel.emplace(std::move(calls), Channel::Attachments::Refused,
                      [this](int descriptor, short events) { wait(descriptor, events); });
    m_files = std::make_unique<ComponentFiles>(std::move(files), m_setup.download);
    // The last: from here on there is a process to reap.
    m_watch = std::make_unique<ComponentWatch>(
        ComponentWatch::Host{
            m_program, arguments(m_setup), std::move(hostOutput), {std::move(hostCalls), std::move(hostFiles)}},
        std::move(output), m_setup.ended);
}

ComponentProcess::~ComponentProcess() {
    m_watch->expectEnd();
    m_channel.reset();  // the host ends when it sees that
    if (process().id >= 0 && !gone()) {
        constexpr int kLettingGo = 1000;
        pollfd ended{process().ended.get(), POLLIN, 0};
        if (!m_loaded || ::poll(&ended, 1, kLettingGo) <= 0) {
            platform::killProcess(process().id);
        }
        reap();
    }
    if (m_setup.cancelDownloads) {
        m_setup.cancelDownloads();
    }
    m_files.reset();
    m_watch.reset();
}

void ComponentProcess::hurry() noexcept {
    Clock::rep none = 0;
    m_hurryTime.compare_exchange_strong(none, Clock::now().time_since_epoch().count());
    Channel::endOf(m_hurry);
}

void ComponentProcess::reap() { m_end = platform::reapProcess(process().id); }

ComponentProcess::Clock::time_point ComponentProcess::silentFrom() const {
    return m_began + (m_patience == Patience::Long ? kLongSilence : kSilence);
}

/// When keepTimes() has something to do next.
ComponentProcess::Clock::time_point ComponentProcess::nextTime() const {
    Clock::time_point next = Clock::time_point::max();
    if (!m_silent && !m_setup.debugger) {
        next = silentFrom();
    }
    if (m_patience == Patience::Stop) {
        return m_setup.debugger ? next : std::min(next, m_began + kStop);
    }
    if (const Clock::rep hurried = m_hurryTime; hurried != 0) {
        next = std::min(next, Clock::time_point(Clock::duration(hurried)) + kHurry);
    }
    return next;
}

void ComponentProcess::keepTimes() {
    const Clock::time_point now = Clock::now();
    if (m_abandoned || now < nextTime()) {
        return;
    }
    if (!m_silent && !m_setup.debugger && now >= silentFrom()) {
        m_silent = true;
        log(LogCategory::Warning, kClassName, m_entry, "the component does not answer");
        if (m_setup.silent) {
            m_setup.silent(true);
        }
    }
    if (now >= nextTime()) {
        m_abandoned = true;
        log(LogCategory::Error, kClassName, m_entry, "the component does not answer: its process is ended");
        platform::killProcess(process().id);
    }
}

/// For the channel: until the host has something to say or to take, keeping the times meanwhile.
void ComponentProcess::wait(int descriptor, short events) {
    using std::chrono::ceil;
    for (;;) {
        const bool hurried = m_hurryTime != 0;
        std::array<pollfd, 3> entries{
            {{descriptor, events, 0}, {process().ended.get(), POLLIN, 0}, {hurried ? -1 : m_hurried.get(), POLLIN, 0}}};
        const Clock::time_point next = m_abandoned ? Clock::time_point::max() : nextTime();
        const auto left = ceil<Milliseconds>(next - std::min(next, Clock::now()));
        const bool forEver = next == Clock::time_point::max();
        if (::poll(entries.data(), entries.size(), forEver ? -1 : static_cast<int>(left.count())) < 0) {
            continue;
        }
        keepTimes();
        if (entries[0].revents != 0) {
            return;
        }
        if (entries[1].revents != 0 && !isReadable(descriptor)) {
            fail();
        }
    }
}

void ComponentProcess::prepare(const String& directory) {
    MessageWriter message(MessageKind::Prepare);
    message.text(directory);
    try {
        m_channel->send(message);
    } catch (const EChannel& caught) {
        logCaught(caught, sites::kComponentChannelCatch);
    }
}

ComponentProcess::Result ComponentProcess::call(const char* entry, const MessageWriter& message, Patience patience,
                                                int attached) {
    m_entry = String(entry);
    if (process().id < 0) {
        const String failure = m_program + ": " + platform::errorText(process().systemError);
        m_account.record({.kind = EndKind::ComponentUnusable, .cause = EndCause::NotLoadable, .text = failure});
        log(LogCategory::Error, kClassName, "start", failure);
        raise<EComponentProcess>("EComponentProcess", sites::kComponentStart);
    }
    m_began = Clock::now();
    m_patience = patience;
    m_silent = false;
    if (gone() || isReadable(process().ended.get())) {
        m_entry = String();  // no entry's doing
        fail();
    }
    Result result = converse(message, attached);
    if (m_silent && m_setup.silent) {
        m_setup.silent(false);
    }
    return result;
}

ComponentProcess::Result ComponentProcess::converse(const MessageWriter& message, int attached) {
    try {
        if (!m_ready) {
            meetComponentHost(*m_channel);
            m_ready = true;
        }
        if (attached >= 0) {
            m_loaded = true;
        }
        m_channel->send(message, attached);
        return readComponentAnswer(*m_channel, m_entry);
    } catch (const ComponentException& caught) {
        m_account.record({.kind = EndKind::ComponentFailed,
                          .cause = EndCause::Raised,
                          .key = m_entry,
                          .text = String::copy(caught.what())});
        throw;
    } catch (const EProtocol& caught) {
        spokeWrongly(caught);
    } catch (const EChannel& caught) {
        logCaught(caught, sites::kComponentChannelCatch);
        fail();
    }
}

/// The process is no more, or about to be.
void ComponentProcess::fail() {
    constexpr int kEnding = 1000;
    if (!gone()) {
        pollfd ended{process().ended.get(), POLLIN, 0};
        if (::poll(&ended, 1, kEnding) <= 0) {  // it only stopped talking
            m_abandoned = true;
            platform::killProcess(process().id);
        }
        reap();
    }
    SessionEnd end{.kind = EndKind::ComponentFailed, .key = m_entry, .text = inWords(*m_end)};
    if (m_abandoned) {
        end.cause = EndCause::NoAnswer;
        end.text = String();
    } else if (m_end->signal == 0 && m_end->status == kMemoryLimitStatus) {
        end.cause = EndCause::Memory;
        end.number = static_cast<int>(m_setup.memoryLimit);
        end.text = String();
    } else {
        end.cause = m_end->signal != 0 ? EndCause::Killed : EndCause::Exited;
        end.number = m_end->signal != 0 ? m_end->signal : m_end->status;
    }
    m_account.record(end);
    log(LogCategory::Error, kClassName, m_entry, describe(end));
    raise<EComponentProcess>("EComponentProcess", sites::kComponentGone);
}

void ComponentProcess::spokeWrongly(const Exception& caught) {
    logCaught(caught, sites::kComponentChannelCatch);
    SessionEnd end{.kind = EndKind::ComponentFailed, .cause = EndCause::NotUnderstood, .key = m_entry};
    m_account.record(end);
    log(LogCategory::Error, kClassName, m_entry, describe(end));
    if (!gone()) {
        platform::killProcess(process().id);
        reap();
    }
    raise<EComponentProcess>("EComponentProcess", sites::kComponentGone);
}

}  // namespace tessel
