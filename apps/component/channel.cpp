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

void waitForEver(int descriptor, short events) {
    pollfd entry{descriptor, events, 0};
    while (::poll(&entry, 1, -1) < 0 && errno == EINTR) {
    }
}

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
    : m_socket(std::move(socket)), m_attachments(attachments), m_wait(wait ? std::move(wait) : waitForEver) {}

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
        m_wait(m_socket.get(), POLLOUT);
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
        }
    }
}

/// False when what was sent ended before the first of these bytes.
bool Channel::take(char* to, std::size_t length, Descriptor* attached) {
    for (std::size_t taken = 0; taken < length;) {
        m_wait(m_socket.get(), POLLIN);
        iovec piece{to + taken, length - taken};
        msghdr header{};
        header.msg_iov = &piece;
        header.msg_iovlen = 1;
        ControlBuffer control;
        if (attached != nullptr) {
            header.msg_control = control.bytes.data();
            header.msg_controllen = control.bytes.size();
        }
        const ssize_t count = ::recvmsg(m_socket.get(), &header, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
        if (count > 0) {
            taken += static_cast<std::size_t>(count);
            if (attached != nullptr && !attached->valid()) {
                *attached = detach(header);
            }
        } else if (count == 0 || errno == ECONNRESET) {
            if (taken == 0) {
                return false;
            }
            raise<EProtocol>("EProtocol", sites::kChannelCut);
        } else if (!isTemporary(errno)) {
            broken(sites::kChannelReceive);
        }
    }
    return true;
}

std::optional<Message> Channel::receive() {
    constexpr std::size_t kPiece = 64UL * 1024;
    Message message;
    std::array<char, MessageWriter::kHeader> header{};
    if (!take(header.data(), header.size(), m_attachments == Attachments::Taken ? &message.attached : nullptr)) {
        return std::nullopt;
    }
    std::uint32_t length = 0;
    std::memcpy(&length, header.data(), sizeof length);
    std::memcpy(&message.kind, header.data() + sizeof length, sizeof message.kind);
    if (length > MessageWriter::kLongest) {
        raise<EProtocol>("EProtocol", sites::kMessageTooLong);
    }
    while (message.body.size() < length) {
        const std::size_t begin = message.body.size();
        message.body.resize(begin + std::min<std::size_t>(kPiece, length - begin));
        if (!take(message.body.data() + begin, message.body.size() - begin, nullptr)) {
            raise<EProtocol>("EProtocol", sites::kChannelCut);
        }
    }
    return message;
}

}  // namespace tessel
