// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-component-probe/report.h"

#include <unistd.h>

namespace tessel::probe {

void Report::tell(Word word, Rule rule, const std::string& sentence) {
    MessageWriter message(static_cast<MessageKind>(word));
    message.number(static_cast<std::int32_t>(rule)).text(String::copy(sentence));
    send(message);
}

void Report::seen(Rule rule) {
    MessageWriter message(static_cast<MessageKind>(Word::Seen));
    message.number(static_cast<std::int32_t>(rule));
    send(message);
}

void Report::tell(Word word, const String& text) {
    MessageWriter message(static_cast<MessageKind>(word));
    message.text(text);
    send(message);
}

void Report::send(const MessageWriter& message) {
    const std::lock_guard lock(m_mutex);
    try {
        m_channel.send(message);
    } catch (const EChannel&) {
        _exit(1);
    }
}

}  // namespace tessel::probe
