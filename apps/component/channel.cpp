// SPDX-License-Identifier: Apache-2.0
#include "apps/component/channel.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "apps/component/sites.h"
#include "libs/base/platform.h"

namespace tessel {

namespace {

[[noreturn]] void broken(RaiseSite site) {
    const int systemError = errno;
    raise<EChannel>("EChannel", site, {.words = platform::errorText(systemError), .systemError = systemError});
}

/// Room for one descriptor beside a message (unix(7)).
struct ControlBuffer {
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> bytes{};
};

void attach(msghdr& header, ControlBuffer& control, int descriptor) {
    header.msg_control = control.bytes.data();
    header.msg_controllen = control.bytes.size();
    cmsghdr* const entry = CMSG_FIRSTHDR(&header);
    entry->cmsg_level = SOL_SOCKET;
    entry->cmsg_type = SCM_RIGHTS;
    entry->cmsg_len = CMSG_LEN(sizeof descriptor);
    std::memcpy(CMSG_DATA(entry), &descriptor, sizeof descriptor);
}

Descriptor detach(msghdr& header) {
    const cmsghdr* const entry = CMSG_FIRSTHDR(&header);
    if (entry == nullptr || entry->cmsg_level != SOL_SOCKET || entry->cmsg_type != SCM_RIGHTS ||
        entry->cmsg_len != CMSG_LEN(sizeof(int))) {
        return {};
    }
    int descriptor = -1;
    std::memcpy(&descriptor, CMSG_DATA(entry), sizeof descriptor);
    return Descriptor(descriptor);
}

bool isTemporary(int systemError) { return systemError == EAGAIN || systemError == EINTR; }

}  // namespace

Channel::Channel(Descriptor socket, Attachments attachments, Wait wait)
    : m_socket(std::move(socket)), m_attachments(attachments), m_wait(std::move(wait)) {}

std::pair<Descriptor, Descriptor> Channel::makePair(int type) {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        broken(sites::kChannelMake);
    }
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

void Channel::endOf(const Descriptor& socket) noexcept { ::shutdown(socket.get(), SHUT_RDWR); }

void Channel::send(const MessageWriter& message, int attached) {
    std::string_view left = message.bytes();
    while (!left.empty()) {
        iovec piece{const_cast<char*>(left.data()), left.size()};
        msghdr header{};
        header.msg_iov = &piece;
        header.msg_iovlen = 1;
        ControlBuffer control;
        if (attached >= 0) {
            attach(header, control, attached);
        }
        const ssize_t sent = ::sendmsg(m_socket.get(), &header, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent >= 0) {
            attached = -1;
            left.remove_prefix(static_cast<std::size_t>(sent));
        } else if (!isTemporary(errno)) {
            broken(sites::kChannelSend);
        } else {
            waitFor(POLLOUT);
        }
    }
}

void Channel::waitFor(short events) {
    if (m_wait) {
        m_wait(m_socket.get(), events);
        return;
    }
    pollfd entry{m_socket.get(), events, 0};
    while (::poll(&entry, 1, -1) < 0 && errno == EINTR) {
    }
}

/// What one look at the socket gives, of however many messages; where descriptors are taken no more than is wanted, so
/// that each is known to have come along with this message. False at the end.
bool Channel::takeMore(std::size_t wanted) {
    constexpr std::size_t kPiece = 16UL * 1024;
    if (m_wait) {
        waitFor(POLLIN);
    }
    m_come.erase(0, m_position);
    m_position = 0;
    std::array<char, kPiece> bytes;
    const bool attachments = m_attachments == Attachments::Taken;
    iovec piece{bytes.data(), attachments ? std::min(wanted, bytes.size()) : bytes.size()};
    msghdr header{};
    header.msg_iov = &piece;
    header.msg_iovlen = 1;
    ControlBuffer control;
    if (attachments) {
        header.msg_control = control.bytes.data();
        header.msg_controllen = control.bytes.size();
    }
    const ssize_t count = ::recvmsg(m_socket.get(), &header, (m_wait ? MSG_DONTWAIT : 0) | MSG_CMSG_CLOEXEC);
    if (count > 0) {
        m_come.append(bytes.data(), static_cast<std::size_t>(count));
        if (Descriptor came = detach(header); came.valid()) {
            m_attached = std::move(came);
        }
    } else if (count == 0 || errno == ECONNRESET) {
        return false;
    } else if (!isTemporary(errno)) {
        broken(sites::kChannelReceive);
    } else if (!m_wait) {
        waitFor(POLLIN);
    }
    return true;
}

/// False when what was sent ended before there were so many bytes; what there was of them is in `to`.
bool Channel::take(std::string& to, std::size_t length) {
    while (to.size() < length) {
        if (m_position == m_come.size() && !takeMore(length - to.size())) {
            return false;
        }
        const std::string_view part = std::string_view(m_come).substr(m_position, length - to.size());
        to += part;
        m_position += part.size();
    }
    return true;
}

std::optional<Message> Channel::receive() {
    Message message;
    std::string header;
    if (!take(header, MessageWriter::kHeader)) {
        if (header.empty()) {
            return std::nullopt;
        }
        raise<EProtocol>("EProtocol", sites::kChannelCut);
    }
    std::uint32_t length = 0;
    std::memcpy(&length, header.data(), sizeof length);
    std::memcpy(&message.kind, header.data() + sizeof length, sizeof message.kind);
    if (length > MessageWriter::kLongest) {
        raise<EProtocol>("EProtocol", sites::kMessageTooLong);
    }
    if (!take(message.body, length)) {
        raise<EProtocol>("EProtocol", sites::kChannelCut);
    }
    message.attached = std::move(m_attached);
    return message;
}

}  // namespace tessel
