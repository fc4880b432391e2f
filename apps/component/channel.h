// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>

#include "apps/component/message.h"

namespace tessel {

/// Nobody is at the other end any more.
TESSEL_EXCEPTION(EChannel, Exception);

/// One end of a connected stream socket (unix(7)) that messages go over in both directions. One thread at a time.
class Channel {
public:
    /// Returns when the descriptor is ready for the events of poll(2), or raises when that is not to be waited for.
    using Wait = std::function<void(int descriptor, short events)>;
    /// Whether a descriptor that comes along with a message is kept, or closed unseen.
    enum class Attachments { Refused, Taken };

    /// Waits without limit when there is no `wait`, which otherwise is asked before each look at what came, and where
    /// what is sent has no room.
    explicit Channel(Descriptor socket, Attachments attachments, Wait wait = {});

    /// Raises EChannel, and what `wait` raises. The descriptor stays the caller's.
    void send(const MessageWriter& message, int attached = -1);
    /// The next message; nothing at the end of what was sent. Raises EProtocol for what is no message or was cut, and
    /// what `wait` raises. Memory grows with what came, not with what was announced.
    std::optional<Message> receive();
    /// Both ends see the end of what was sent; who waits in receive() returns. Any thread.
    void end() noexcept { endOf(m_socket); }
    static void endOf(const Descriptor& socket) noexcept;
    [[nodiscard]] int descriptor() const noexcept { return m_socket.get(); }

    /// Two ends of a new connection, closed in programs that this one starts. Raises EChannel.
    static std::pair<Descriptor, Descriptor> makePair(int type);

private:
    void waitFor(short events);
    bool takeMore(std::size_t wanted);
    bool take(std::string& to, std::size_t length);

    Descriptor m_socket;
    const Attachments m_attachments;
    const Wait m_wait;
    // What came and was not yet asked for: many messages are taken from the system at once.
    std::string m_come;
    std::size_t m_position = 0;  // in m_come
    Descriptor m_attached;
};

}  // namespace tessel
