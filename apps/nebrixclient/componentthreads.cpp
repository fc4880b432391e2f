// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/componentthreads.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <new>
#include <string_view>

#include "apps/component/protocol.h"
#include "apps/nebrixclient/sites.h"
#include "libs/base/log.h"

namespace tessel {

void logComponentLines(const char* source, std::string_view text) {
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        if (end != 0) {
            log(LogCategory::Trace, "Component", source, String::copy(text.data(), static_cast<unsigned>(end)));
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

ComponentWatch::ComponentWatch(Host host, Descriptor output, std::function<void()> ended)
    : Thread("component", 0, false), m_host(std::move(host)), m_output(std::move(output)), m_ended(std::move(ended)) {
    launch(true);
}

ComponentWatch::~ComponentWatch() {
    m_closing = true;
    Channel::endOf(m_output);
    join();
}

const platform::StartedProcess& ComponentWatch::process() const noexcept {
    m_started.wait(false);
    return m_process;
}

void ComponentWatch::start() noexcept {
    try {
        const auto& [calls, files] = m_host.connections;
        m_process = platform::startProcess({.program = m_host.program,
                                            .arguments = m_host.arguments,
                                            .output = m_host.output.get(),
                                            .descriptors = {calls.get(), files.get()}});
    } catch (const std::bad_alloc&) {
        m_process.systemError = ENOMEM;
    }
    m_host = {};
    m_started = true;
    m_started.notify_all();
}

void ComponentWatch::main() {
    start();
    bool alive = m_process.id >= 0;
    while (!m_closing) {
        std::array<pollfd, 2> entries{{{m_output.get(), POLLIN, 0}, {alive ? m_process.ended.get() : -1, POLLIN, 0}}};
        if (::poll(entries.data(), entries.size(), -1) < 0) {
            continue;
        }
        while (takeOutput()) {
        }
        if (entries[1].revents != 0) {
            alive = false;
            if (!m_expected && m_ended) {
                m_ended();
            }
        }
    }
}

/// Whether there may be more. A datagram without bytes is also what the end of the connection looks like.
bool ComponentWatch::takeOutput() {
    std::array<char, 16384> block;
    const ssize_t count = ::recv(m_output.get(), block.data(), block.size(), MSG_DONTWAIT);
    if (count <= 0) {
        return count < 0 && errno == EINTR;
    }
    logLines({block.data(), static_cast<std::size_t>(count)});
    return true;
}

void ComponentWatch::logLines(std::string_view printed) {
    if (m_printed > kMostOutput) {
        return;
    }
    m_printed += static_cast<unsigned>(printed.size());
    logComponentLines("output", printed);
    if (m_printed > kMostOutput) {
        log(LogCategory::Warning, "Component", "output", "what the component prints further is not logged");
    }
}

ComponentFiles::ComponentFiles(Descriptor requests, Download download)
    : Thread("component-files", 0, false),
      m_channel(std::move(requests), Channel::Attachments::Refused),
      m_download(std::move(download)) {
    launch(true);
}

ComponentFiles::~ComponentFiles() {
    m_channel.end();
    join();
}

void ComponentFiles::main() {
    try {
        while (const std::optional<Message> request = m_channel.receive()) {
            if (request->kind != MessageKind::Download) {
                raise<EProtocol>("EProtocol", sites::kComponentAnswer);
            }
            MessageReader reader(*request);
            const String url = reader.text(kLongestWords);
            const String path = reader.text(kLongestWords);
            reader.end();
            MessageWriter answer(MessageKind::Downloaded);
            answer.number(m_download(url.str(), path.str()) ? 1 : 0);
            m_channel.send(answer);
        }
    } catch (const Exception& caught) {
        // The process is gone, or speaks wrongly: it hears nothing more.
        logCaught(caught, sites::kComponentChannelCatch);
        m_channel.end();
    }
}

}  // namespace tessel
