// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "libs/base/descriptor.h"
#include "libs/base/exception.h"

namespace tessel {

/// What came over a channel is no message of the protocol, or not the one that was due.
TESSEL_EXCEPTION(EProtocol, Exception);

enum class MessageKind : std::uint16_t;

/// One message as it came: its kind, its fields one behind the other, and a descriptor if one came along.
struct Message {
    MessageKind kind{};
    std::string body{};
    Descriptor attached{};
};

/// Builds one message, in the form in which it travels: the length of the fields (4 bytes), the kind (2), nothing (2),
/// then the fields. A number has 4 bytes, a text its length in 4 and its bytes. All in the machine's own byte order,
/// since nothing leaves the machine.
class MessageWriter {
public:
    static constexpr unsigned kHeader = 8;
    /// Bytes of all fields of a message.
    static constexpr unsigned kLongest = 8 * 1024 * 1024;

    explicit MessageWriter(MessageKind kind);
    MessageWriter& number(std::int32_t value);
    /// A null text is an empty one. Raises EProtocol when the message gets too long.
    MessageWriter& text(const String& value);
    /// The whole message.
    [[nodiscard]] const std::string& bytes() const noexcept { return m_bytes; }

private:
    void append(const void* bytes, unsigned length);

    std::string m_bytes;
};

/// Takes the fields from a message, which must outlive it. Whatever is not there raises EProtocol.
class MessageReader {
public:
    explicit MessageReader(const Message& message) noexcept : m_body(message.body) {}
    std::int32_t number();
    bool flag() { return number() != 0; }
    /// A text of at most so many bytes.
    String text(unsigned longest = MessageWriter::kLongest);
    [[nodiscard]] bool atEnd() const noexcept { return m_position == m_body.size(); }
    /// Raises EProtocol unless nothing is left.
    void end() const;

private:
    const std::string& m_body;
    std::size_t m_position = 0;
};

}  // namespace tessel
