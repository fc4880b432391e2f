// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-component-host/downloadclient.h"

#include "apps/component/channel.h"
#include "apps/component/protocol.h"
#include "libs/base/mutex.h"

namespace tessel {

namespace {

Mutex& mutex() {
    static auto* const made = new Mutex;
    return *made;
}

// Guarded by mutex().
Channel* g_channel = nullptr;

bool ask(const char* url, const char* localPath) {
    MessageWriter request(MessageKind::Download);
    request.text(copyComponentText(url, kLongestWords)).text(copyComponentText(localPath, kLongestWords));
    Lock lock(mutex());
    if (g_channel == nullptr) {
        return false;
    }
    g_channel->send(request);
    const std::optional<Message> answer = g_channel->receive();
    return answer.has_value() && answer->kind == MessageKind::Downloaded && MessageReader(*answer).flag();
}

}  // namespace

void DownloadClient::use(Descriptor downloads) {
    Lock lock(mutex());
    g_channel = new Channel(std::move(downloads), Channel::Attachments::Refused);
}

bool DownloadClient::downloadFileTo(const char* url, const char* localPath) noexcept {
    try {
        return ask(url, localPath);
    } catch (...) {
        return false;  // the client is gone
    }
}

}  // namespace tessel
