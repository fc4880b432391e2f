#include "apps/nebrix-sign/storedarchive.h"

#include <sys/stat.h>

#include <array>

#include "apps/nebrix-sign/errors.h"

namespace tessel::sign {

namespace {

constexpr std::uint16_t kVersionNeeded = 20;
constexpr std::uint16_t kMadeByUnix = 3 << 8 | kVersionNeeded;
constexpr std::uint16_t kFirstOfJanuary1980 = 1 << 5 | 1;
constexpr std::uint64_t kLargest = 0xFFFFFFFE;

constexpr std::array<std::uint32_t, 256> makeTable() {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t byte = 0; byte < table.size(); ++byte) {
        std::uint32_t value = byte;
        for (int bit = 0; bit < 8; ++bit) {
            value = (value & 1) != 0 ? value >> 1 ^ 0xEDB88320U : value >> 1;
        }
        table[byte] = value;
    }
    return table;
}

void put16(std::string& out, std::uint32_t value) {
    out += static_cast<char>(value & 0xFF);
    out += static_cast<char>(value >> 8 & 0xFF);
}

void put32(std::string& out, std::uint32_t value) {
    put16(out, value & 0xFFFF);
    put16(out, value >> 16);
}

}  // namespace

std::uint32_t crc32(std::string_view bytes) noexcept {
    static constexpr auto kTable = makeTable();
    std::uint32_t value = 0xFFFFFFFFU;
    for (const char byte : bytes) {
        value = kTable[(value ^ static_cast<unsigned char>(byte)) & 0xFF] ^ value >> 8;
    }
    return ~value;
}

void StoredArchive::addFile(std::string_view name, std::string_view content, unsigned permissions) {
    add(name, content, S_IFREG | permissions);
}

void StoredArchive::addLink(std::string_view name, std::string_view target) { add(name, target, S_IFLNK | 0777); }

void StoredArchive::add(std::string_view name, std::string_view content, unsigned mode) {
    if (name.size() > 0xFFFF || m_count == 0xFFFF ||
        std::uint64_t{m_members.size()} + m_directory.size() + content.size() + 2 * name.size() + 256 > kLargest) {
        raise<ESign>("the archive would be too large", sites::kArchiveTooLarge);
    }
    const auto offset = static_cast<std::uint32_t>(m_members.size());
    const auto size = static_cast<std::uint32_t>(content.size());

    // What the local header and the directory entry have in common, from "version needed" to "extra field length".
    std::string common;
    put16(common, kVersionNeeded);
    put16(common, 0);  // flags
    put16(common, 0);  // method: stored
    put16(common, 0);  // midnight
    put16(common, kFirstOfJanuary1980);
    put32(common, crc32(content));
    put32(common, size);
    put32(common, size);
    put16(common, static_cast<std::uint32_t>(name.size()));
    put16(common, 0);

    m_members.append("PK\3\4").append(common).append(name).append(content);

    m_directory += "PK\1\2";
    put16(m_directory, kMadeByUnix);
    m_directory += common;
    put16(m_directory, 0);  // comment
    put16(m_directory, 0);  // disk
    put16(m_directory, 0);  // internal attributes
    put32(m_directory, static_cast<std::uint32_t>(mode) << 16);
    put32(m_directory, offset);
    m_directory += name;
    ++m_count;
}

std::string StoredArchive::bytes() const {
    std::string out = m_members + m_directory + "PK\5\6";
    put32(out, 0);  // this disk, the directory's disk
    put16(out, m_count);
    put16(out, m_count);
    put32(out, static_cast<std::uint32_t>(m_directory.size()));
    put32(out, static_cast<std::uint32_t>(m_members.size()));
    put16(out, 0);  // comment
    return out;
}

}  // namespace tessel::sign
