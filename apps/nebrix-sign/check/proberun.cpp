// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-sign/check/proberun.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>

#include "apps/component/helperprogram.h"
#include "apps/nebrix-component-probe/report.h"
#include "apps/nebrix-sign/errors.h"
#include "apps/nebrixclient/componentprocess.h"
#include "libs/base/freewith.h"
#include "libs/base/printable.h"
#include "sdk/include/nebrix_component.h"

namespace tessel::sign {

namespace {

using probe::Rule;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kBetweenEntries{60};

/// Nothing came in time.
TESSEL_EXCEPTION(ESilence, Exception);

std::string inWords(const platform::ProcessEnd& end) {
    if (end.signal == 0) {
        return "with status " + std::to_string(end.status);
    }
    const char* const name = ::sigabbrev_np(end.signal);
    return "by signal " + std::to_string(end.signal) + (name == nullptr ? "" : " (SIG" + std::string(name) + ")");
}

/// What a component wrote into the report would be read, too.
Rule readRule(MessageReader& reader) {
    const std::int32_t number = reader.number();
    if (number < 0 || number >= static_cast<std::int32_t>(Rule::Count)) {
        raise<EProtocol>("EProtocol", sites::kNoProbe);
    }
    return static_cast<Rule>(number);
}

/// One probe, from its start to its end.
class ProbeRun {
public:
    explicit ProbeRun(const ProbeStart& start);
    ProbeRun(const ProbeRun&) = delete;
    ProbeRun& operator=(const ProbeRun&) = delete;
    ~ProbeRun() { end(); }

    Outcome run();

private:
    void wait(int descriptor, short events);
    [[nodiscard]] Clock::duration limit() const;
    /// False at the probe's last word.
    bool hear(const Message& message);
    void enter(const std::string& entry) {
        m_inside = true;
        m_entry = entry;
        m_since = Clock::now();
    }
    void leave() {
        m_inside = false;
        m_since = Clock::now();
    }
    void threw(const std::string& words);
    void blocked();
    void died();
    /// The first fault of a rule is kept.
    void add(Rule rule, const std::string& sentence);
    /// The entry that runs, or what came after the last one.
    [[nodiscard]] std::string who() const { return m_inside ? m_entry : "after " + m_entry + " the component"; }
    /// Waits a while for the probe to end, and ends it.
    platform::ProcessEnd end();
    std::string printed();

    const ProbeStart& m_start;
    std::unique_ptr<std::FILE, FreeWith<std::fclose>> m_output{std::tmpfile()};
    std::optional<Channel> m_channel;
    platform::StartedProcess m_process;
    platform::ProcessEnd m_end;
    Clock::time_point m_since = Clock::now();  // when it last began or ended a call
    std::string m_entry;
    std::string m_moment;
    bool m_inside = false;
    bool m_silent = false;  // it is not waited for any more
    Outcome m_outcome;
};

ProbeRun::ProbeRun(const ProbeStart& start) : m_start(start) {
    auto [mine, probes] = Channel::makePair(SOCK_STREAM);
    const String program = helperProgram("nebrix-component-probe");
    std::vector<std::string> words = start.wrapper;
    if (!words.empty()) {
        words.emplace_back(program.view());
    }
    words.insert(words.end(), start.arguments.begin(), start.arguments.end());
    m_process = platform::startProcess({.program = words.size() == start.arguments.size() ? program : "/usr/bin/env",
                                        .arguments = words,
                                        .output = m_output == nullptr ? -1 : ::fileno(m_output.get()),
                                        .descriptors = {probes.get()}});
    if (m_process.id < 0) {
        raise<ESign>(program + ": " + platform::errorText(m_process.systemError), sites::kNoProbe);
    }
    m_channel.emplace(std::move(mine), Channel::Attachments::Refused,
                      [this](int descriptor, short events) { wait(descriptor, events); });
}

platform::ProcessEnd ProbeRun::end() {
    if (m_process.id >= 0) {
        if (!m_silent) {
            constexpr int kEnding = 2000;
            pollfd ending{m_process.ended.get(), POLLIN, 0};
            ::poll(&ending, 1, kEnding * m_start.patience);
        }
        platform::killProcess(m_process.id);
        m_end = platform::reapProcess(m_process.id);
        m_process.id = -1;
    }
    return m_end;
}

Clock::duration ProbeRun::limit() const {
    if (!m_inside) {
        return kBetweenEntries * m_start.patience;
    }
    const bool isLong = m_entry == NEBRIX_NAME_GET_VALID_RULES || m_entry == NEBRIX_NAME_LAUNCH_SAFE_RESOURCE;
    return (isLong ? ComponentProcess::kLongSilence : ComponentProcess::kSilence) * m_start.patience;
}

/// For the channel. A probe that ended has said all that it had to say.
void ProbeRun::wait(int descriptor, short events) {
    std::array<pollfd, 2> entries{{{descriptor, events, 0}, {m_process.ended.get(), POLLIN, 0}}};
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_since + limit() - Clock::now());
        if (left.count() <= 0) {
            raise<ESilence>("ESilence", sites::kNoProbe);
        }
        if (::poll(entries.data(), entries.size(), static_cast<int>(left.count())) <= 0) {
            continue;
        }
        if (entries[0].revents != 0) {
            return;
        }
        raise<EChannel>("EChannel", sites::kNoProbe);
    }
}

bool ProbeRun::hear(const Message& message) {
    using probe::Word;
    MessageReader reader(message);
    const TellFault tell = [this](const Fault& fault) { add(fault.rule, fault.sentence); };
    const auto text = [&] { return std::string(reader.text().view()); };
    switch (static_cast<Word>(message.kind)) {
        case Word::Entered:
            enter(text());
            return true;
        case Word::Left:
            leave();
            return true;
        case Word::Moment:
            m_moment = text();
            return true;
        case Word::Fault: {
            const Rule rule = readRule(reader);
            add(rule, text());
            return true;
        }
        case Word::Seen:
            m_outcome.seen.insert(readRule(reader));
            return true;
        case Word::Status:
            judgeStatusList(reader.text(), tell);
            return true;
        case Word::Log:
            judgeLog(reader.text(), tell);
            return true;
        case Word::Threw:
            threw(text());
            return false;
        case Word::Done:
            m_outcome.completed = true;
            return false;
        case Word::Refused: {
            const Rule rule = readRule(reader);
            add(m_start.blame.value_or(rule), text());
            return false;
        }
    }
    raise<EProtocol>("EProtocol", sites::kNoProbe);
}

void ProbeRun::add(Rule rule, const std::string& sentence) {
    std::vector<Fault>& faults = m_outcome.faults;
    if (std::none_of(faults.begin(), faults.end(), [&](const Fault& fault) { return fault.rule == rule; })) {
        faults.push_back({rule, m_moment.empty() ? sentence : sentence + " (" + m_moment + ")"});
    }
}

void ProbeRun::threw(const std::string& words) {
    std::string sentence = m_entry + " let an exception out: \"";
    appendPrintable(sentence, words);
    add(m_start.blame.value_or(Rule::NoException), sentence + "\"; catch everything inside each entry");
}

void ProbeRun::blocked() {
    m_silent = true;
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(limit()).count();
    add(Rule::InTime, who() + " did not return within " + std::to_string(seconds) +
                          " seconds; leave long work to a thread of the component's own");
}

/// The probe is no more, without a last word.
void ProbeRun::died() {
    const platform::ProcessEnd how = end();
    if (m_entry.empty()) {
        raise<ESign>(String::copy("the probe ended " + inWords(how) + printed()), sites::kNoProbe);
    }
    const bool release = m_inside && m_entry == NEBRIX_NAME_RELEASE_STR;
    const Rule rule = release ? Rule::OwnStrings : Rule::NoEnd;
    add(m_start.blame.value_or(rule), who() + " ended the process " + inWords(how) + printed());
}

Outcome ProbeRun::run() {
    try {
        for (;;) {
            const std::optional<Message> message = m_channel->receive();
            if (!message) {
                died();
                break;
            }
            if (!hear(*message)) {
                break;
            }
        }
    } catch (const ESilence&) {
        blocked();
    } catch (const EChannel&) {
        died();
    } catch (const EProtocol&) {
        died();
    }
    return std::move(m_outcome);
}

/// The end of what the process wrote, as a sentence's continuation.
std::string ProbeRun::printed() {
    constexpr long kShown = 300;
    std::array<char, kShown> bytes{};
    if (m_output == nullptr || std::fseek(m_output.get(), 0, SEEK_END) != 0) {
        return {};
    }
    const long from = std::max(std::ftell(m_output.get()) - kShown, 0L);
    std::fseek(m_output.get(), from, SEEK_SET);
    std::string_view text(bytes.data(), std::fread(bytes.data(), 1, bytes.size(), m_output.get()));
    text = text.substr(0, text.find_last_not_of("\r\n") + 1);
    if (text.empty()) {
        return {};
    }
    std::string shown = ", after it wrote \"";
    appendPrintable(shown, text.substr(text.rfind('\n') + 1));
    return shown + "\"";
}

}  // namespace

Outcome runProbe(const ProbeStart& start) { return ProbeRun(start).run(); }

}  // namespace tessel::sign
