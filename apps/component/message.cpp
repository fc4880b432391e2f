// SPDX-License-Identifier: Apache-2.0
#include "apps/component/message.h"

#include <cstring>

#include "apps/component/sites.h"

namespace tessel {

MessageWriter::MessageWriter(MessageKind kind) : m_bytes(kHeader, '\0') {
    std::memcpy(m_bytes.data() + sizeof(std::uint32_t), &kind, sizeof kind);
}

void MessageWriter::append(const void* bytes, unsigned length) {
    if (m_bytes.size() - kHeader + length > kLongest) {
        raise<EProtocol>("EProtocol", sites::kMessageTooLong);
    }
    m_bytes.append(static_cast<const char*>(bytes), length);
    const auto fields = static_cast<std::uint32_t>(m_bytes.size() - kHeader);
    std::memcpy(m_bytes.data(), &fields, sizeof fields);
}

MessageWriter& MessageWriter::number(std::int32_t value) {
    append(&value, sizeof value);
    return *this;
}

MessageWriter& MessageWriter::text(const String& value) {
    const std::uint32_t length = value.length();
    append(&length, sizeof length);
    append(value.array(), length);
    return *this;
}

std::int32_t MessageReader::number() {
    std::int32_t value = 0;
    if (m_body.size() - m_position < sizeof value) {
        raise<EProtocol>("EProtocol", sites::kMessageField);
    }
    std::memcpy(&value, m_body.data() + m_position, sizeof value);
    m_position += sizeof value;
    return value;
}

String MessageReader::text(unsigned longest) {
    const auto length = static_cast<std::uint32_t>(number());
    if (length > longest || length > m_body.size() - m_position) {
        raise<EProtocol>("EProtocol", sites::kMessageField);
    }
    String text = String::copy(m_body.data() + m_position, length);
    m_position += length;
    return text;
}

void MessageReader::end() const {
    if (!atEnd()) {
        raise<EProtocol>("EProtocol", sites::kMessageField);
    }
}

}  // namespace tessel
