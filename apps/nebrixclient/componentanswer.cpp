// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/componentanswer.h"

#include "apps/nebrixclient/sites.h"
#include "libs/base/file.h"
#include "libs/base/log.h"

namespace tessel {

namespace {

/// The class of a log line that came over: only those of loading a component are believed.
const char* knownClass(const String& name) {
    for (const char* known : {"ModuleLoader", "PluginDllInstance", "Exception", "File"}) {
        if (name == known) {
            return known;
        }
    }
    return "Component";
}

Message next(Channel& host) {
    if (std::optional<Message> message = host.receive()) {
        return std::move(*message);
    }
    raise<EChannel>("EChannel", sites::kComponentAnswer, {.words = "the other end is closed"});
}

[[noreturn]] void notUnderstood() { raise<EProtocol>("EProtocol", sites::kComponentAnswer); }

void logForComponent(MessageReader& reader) {
    const int category = reader.number();
    const String className = reader.text(kLongestEntry);
    const String method = reader.text(kLongestEntry);
    const String text = reader.text(kLongestWords);
    if (category < 0 || category >= kLogCategories) {
        notUnderstood();
    }
    log(static_cast<LogCategory>(category), knownClass(className), method, text);
}

ComponentAnswer returned(MessageReader& reader) {
    const int number = reader.number();
    ComponentAnswer answer{number, reader.text(kLongestComponentText + 1)};
    reader.end();
    return answer;
}

/// What kept a component from being loaded, as if it had been raised here.
[[noreturn]] void refused(MessageReader& reader) {
    const int refusal = reader.number();
    const String subject = reader.text(kLongestWords);
    const String words = reader.text(kLongestWords);
    switch (static_cast<Refusal>(refusal)) {
        case Refusal::Loader:
            raise<EModuleLoader>("EModuleLoader", sites::kModuleLoad, {.subject = subject, .words = words});
        case Refusal::NoInstance:
            raise<EPluginDllInstance>("EPluginDllInstance", sites::kPluginCreate);
        case Refusal::File:
            raise<EFile>("EFile", sites::kComponentAnswer, {.subject = subject, .words = words});
    }
    notUnderstood();
}

}  // namespace

void meetComponentHost(Channel& host) {
    const Message ready = next(host);
    MessageReader reader(ready);
    if (ready.kind != MessageKind::Ready || reader.number() != kProtocolVersion) {
        raise<EProtocol>("EProtocol", sites::kComponentVersion);
    }
}

ComponentAnswer readComponentAnswer(Channel& host, String& entry) {
    for (unsigned count = 0; count < kMostMessagesPerCall; ++count) {
        const Message message = next(host);
        MessageReader reader(message);
        switch (message.kind) {
            case MessageKind::Log:
                logForComponent(reader);
                break;
            case MessageKind::Running:
                entry = reader.text(kLongestEntry);
                break;
            case MessageKind::Returned:
                return returned(reader);
            case MessageKind::Raised:
                throw ComponentException(reader.text(kLongestWords).str());
            case MessageKind::Refused:
                refused(reader);
            default:
                notUnderstood();
        }
    }
    notUnderstood();
}

}  // namespace tessel
