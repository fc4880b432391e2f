// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <mutex>

#include "apps/component/channel.h"
#include "apps/component/protocol.h"
#include "apps/nebrix-component-probe/rules.h"

/// What the probe tells the program that started it: messages of the component host's form (message.h), all in one
/// direction. Entered and Left enclose each call of an entry; Done is the last word of a probe that came to its end.
namespace tessel::probe {

/// The descriptor that the probe is started with.
inline constexpr int kReportDescriptor = 3;

/// A message's kind.
enum class Word : std::uint16_t {
    Entered = 200,  // the entry's name
    Left,
    Moment,   // what is being tried: "with texts of line breaks"; empty for nothing
    Fault,    // rule, sentence
    Seen,     // a rule that there was something to check of, where that is not always so
    Threw,    // words of an exception that left the entry; nothing follows
    Refused,  // rule, sentence: why the library cannot be used; nothing follows
    Status,   // a status list as it came, cut to one byte more than it may have
    Log,      // a log text, cut likewise
    Done,
};

/// The probe's side. Any thread; messages do not mix. When nobody listens any more, the process ends.
class Report {
public:
    explicit Report(Descriptor to) : m_channel(std::move(to), Channel::Attachments::Refused) {}

    void entered(const char* name) { tell(Word::Entered, String(name)); }
    void left() { tell(Word::Left); }
    void moment(const std::string& words) { tell(Word::Moment, String::copy(words)); }
    void fault(Rule rule, const std::string& sentence) { tell(Word::Fault, rule, sentence); }
    void seen(Rule rule);
    void threw(const char* words) { tell(Word::Threw, copyComponentText(words, kLongestWords)); }
    void refused(Rule rule, const std::string& why) { tell(Word::Refused, rule, why); }
    void text(Word word, const String& text) { tell(word, text); }
    void done() { tell(Word::Done); }

private:
    void tell(Word word) { send(MessageWriter(static_cast<MessageKind>(word))); }
    void tell(Word word, const String& text);
    void tell(Word word, Rule rule, const std::string& sentence);
    void send(const MessageWriter& message);

    std::mutex m_mutex;
    Channel m_channel;  // guarded by m_mutex
};

}  // namespace tessel::probe
