// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-component-host/callserver.h"

#include <exception>
#include <new>
#include <utility>

#include "apps/component/sites.h"
#include "libs/base/file.h"
#include "libs/base/log.h"

namespace tessel {

namespace {

// The server of this thread, which is the one that calls the component: what other threads log concerns nobody.
thread_local CallServer* t_server = nullptr;

MessageWriter returned(int number = 0, const String& text = String()) {
    MessageWriter answer(MessageKind::Returned);
    answer.number(number).text(text);
    return answer;
}

MessageWriter refused(Refusal refusal, const Exception& caught) {
    MessageWriter answer(MessageKind::Refused);
    const ErrorFacts& facts = caught.facts();
    answer.number(static_cast<int>(refusal)).text(facts.subject).text(facts.words);
    return answer;
}

MessageWriter raised(const char* words) {
    MessageWriter answer(MessageKind::Raised);
    answer.text(copyComponentText(words, kLongestWords));
    return answer;
}

Proxy readProxy(MessageReader& reader) {
    Proxy proxy;
    const int type = reader.number();
    if (type < 0 || type > static_cast<int>(Proxy::Type::None)) {
        raise<EProtocol>("EProtocol", sites::kCallArgument);
    }
    proxy.setType(static_cast<Proxy::Type>(type));
    proxy.setHost(reader.text());
    const String login = reader.text();
    const String password = reader.text();
    proxy.setCredentials(Credentials(login, password, reader.text()));
    return proxy;
}

[[noreturn]] void outOfTurn() { raise<EProtocol>("EProtocol", sites::kCallOutOfTurn); }

}  // namespace

CallServer::CallServer(Descriptor calls, NebrixDownloadFileTo download, Prepare prepare)
    : m_channel(std::move(calls), Channel::Attachments::Taken), m_download(download), m_prepare(std::move(prepare)) {
    t_server = this;
    divertLog(&CallServer::forwardLog);
    observeEntries(&CallServer::forwardEntry);
}

CallServer::~CallServer() {
    observeEntries(nullptr);
    divertLog(nullptr);
    t_server = nullptr;
}

void CallServer::forwardLog(LogCategory category, const String& className, const String& method, const String& text) {
    if (t_server != nullptr) {
        MessageWriter line(MessageKind::Log);
        line.number(static_cast<int>(category)).text(className).text(method).text(text);
        t_server->m_channel.send(line);
    }
}

void CallServer::forwardEntry(const char* name) {
    // A text given back belongs to the entry that it came from, and this comes with every poll.
    if (t_server != nullptr && name != std::string_view(NEBRIX_NAME_RELEASE_STR) &&
        name != std::string_view(NEBRIX_NAME_GET_ERRORS)) {
        try {
            MessageWriter entry(MessageKind::Running);
            entry.text(String(name));
            t_server->m_channel.send(entry);
        } catch (const std::bad_alloc&) {
            // To be called matters more than to be named.
        }
    }
}

void CallServer::serve() {
    MessageWriter ready(MessageKind::Ready);
    ready.number(kProtocolVersion);
    m_channel.send(ready);
    while (std::optional<Message> call = m_channel.receive()) {
        if (call->kind == MessageKind::Prepare) {
            prepare(*call);
        } else {
            answer(*call);
        }
    }
}

void CallServer::prepare(const Message& request) {
    MessageReader reader(request);
    const String directory = reader.text();
    reader.end();
    if (!m_prepare) {
        outOfTurn();
    }
    std::exchange(m_prepare, nullptr)(directory);
}

/// A component's exceptions are answers; those of the conversation itself go on.
void CallServer::answer(Message& call) {
    const MessageWriter result = [&] {
        try {
            return resultOf(call);
        } catch (const EChannel&) {
            throw;
        } catch (const EProtocol&) {
            throw;
        } catch (const EModuleLoader& caught) {
            return refused(Refusal::Loader, caught);
        } catch (const EPluginDllInstance& caught) {
            return refused(Refusal::NoInstance, caught);
        } catch (const EFile& caught) {
            return refused(Refusal::File, caught);
        } catch (const std::exception& caught) {
            return raised(caught.what());
        } catch (...) {
            return raised("");
        }
    }();
    m_channel.send(result);
}

MessageWriter CallServer::resultOf(Message& call) {
    switch (call.kind) {
        case MessageKind::LoadPlugin:
            loadPlugin(call);
            return returned();
        case MessageKind::LoadHostChecker:
            loadHostChecker(call);
            return returned();
        default:
            break;
    }
    MessageReader reader(call);
    if (m_plugin != nullptr) {
        return plugin(call.kind, reader);
    }
    if (m_hostChecker != nullptr) {
        return hostChecker(call.kind, reader);
    }
    outOfTurn();
}

void CallServer::loadPlugin(Message& call) {
    MessageReader reader(call);
    const String path = reader.text();
    const String version = reader.text();
    const String directory = reader.text();
    reader.end();
    takeLibrary(call, path);
    m_plugin = std::make_unique<PluginDllInstance>(m_library, version, directory);
}

void CallServer::loadHostChecker(Message& call) {
    MessageReader reader(call);
    const String path = reader.text();
    reader.end();
    takeLibrary(call, path);
    m_hostChecker = std::make_unique<HostCheckerDllInstance>(m_library);
}

void CallServer::takeLibrary(Message& call, const String& path) {
    if (m_prepare || m_library.valid()) {
        outOfTurn();
    }
    m_library = SealedFile::adopt(std::move(call.attached), path);
}

MessageWriter CallServer::plugin(MessageKind call, MessageReader& reader) {
    switch (call) {
        case MessageKind::SetProxy: {
            const bool use = reader.flag();
            m_plugin->setProxy(use, readProxy(reader));
            return returned();
        }
        case MessageKind::Start: {
            PluginDllInstance::Parameters parameters = readParameters(reader);
            parameters.downloadDelegate = m_download;
            m_plugin->start(parameters);
            return returned();
        }
        case MessageKind::GetErrors:
            return returned(0, m_plugin->getErrors());
        case MessageKind::LaunchResource: {
            const int id = reader.number();
            return returned(m_plugin->LaunchSafeResource(id, reader.text(), m_download));
        }
        case MessageKind::Stop:
            m_plugin->stop();
            return returned(0, m_plugin->getLogs());
        default:
            outOfTurn();
    }
}

MessageWriter CallServer::hostChecker(MessageKind call, MessageReader& reader) {
    switch (call) {
        case MessageKind::InitHostChecker: {
            const String directory = reader.text();
            const String hostname = reader.text();
            m_hostChecker->start(directory, hostname, reader.text());
            return returned();
        }
        case MessageKind::GetValidRules:
            return returned(0, m_hostChecker->getValidRules(reader.text()));
        case MessageKind::CloseHostChecker:
            m_hostChecker->stop();
            return returned();
        default:
            outOfTurn();
    }
}

}  // namespace tessel
