// SPDX-License-Identifier: Apache-2.0
#include "libs/base/zipdirectory.h"

#include <sys/stat.h>

#include <algorithm>
#include <string_view>

#include "libs/base/file.h"
#include "libs/base/runtimesites.h"

namespace tessel::zlib {

namespace {

constexpr unsigned kEndLength = 22;
constexpr unsigned kEntryLength = 46;
constexpr unsigned kLongestComment = 65535;
constexpr unsigned kLongestDirectory = 16 * 1024 * 1024;
constexpr std::uint32_t kEndSignature = 0x06054b50;
constexpr std::uint32_t kEntrySignature = 0x02014b50;
constexpr std::uint32_t kIn64 = 0xffffffff;
constexpr unsigned kZip64Extra = 1;

[[noreturn]] void refuse(const String& why, RaiseSite site) { raise<EZip>(why, site); }

/// Little-endian fields of a piece of the archive. Offsets are the caller's to have checked.
class Fields {
public:
    explicit Fields(std::string_view bytes) noexcept : m_bytes(bytes) {}
    [[nodiscard]] unsigned u16(unsigned at) const noexcept { return byte(at) | byte(at + 1) << 8U; }
    [[nodiscard]] std::uint32_t u32(unsigned at) const noexcept { return u16(at) | u16(at + 2) << 16U; }
    [[nodiscard]] std::uint64_t u64(unsigned at) const noexcept {
        return u32(at) | static_cast<std::uint64_t>(u32(at + 4)) << 32U;
    }

private:
    [[nodiscard]] unsigned byte(unsigned at) const noexcept { return static_cast<unsigned char>(m_bytes[at]); }

    std::string_view m_bytes;
};

struct Directory {
    unsigned entries;
    Memory bytes;
};

/// The end record stands last, behind it only a comment of the length it tells.
Directory readDirectory(const String& path) {
    File archive;
    if (!archive.open(path, File::kIn)) {
        refuse("the archive cannot be opened", sites::kZipFormat);
    }
    const unsigned size = archive.size();
    const unsigned tailLength = std::min(size, kEndLength + kLongestComment);
    archive.setReadPos(size - tailLength);
    Memory tail;
    archive.read(tail, tailLength);
    const Fields fields(tail.view());
    for (unsigned at = tailLength >= kEndLength ? tailLength - kEndLength + 1 : 0; at-- > 0;) {
        if (fields.u32(at) != kEndSignature || fields.u16(at + 20) != tailLength - at - kEndLength) {
            continue;
        }
        const unsigned entries = fields.u16(at + 10);
        const std::uint64_t length = fields.u32(at + 12);
        const std::uint64_t start = fields.u32(at + 16);
        const std::uint64_t end = size - tailLength + at;
        if (fields.u16(at + 4) != 0 || fields.u16(at + 8) != entries || entries == 0xffff ||
            length > kLongestDirectory || start + length > end) {
            refuse("the archive's directory is not sound", sites::kZipFormat);
        }
        Directory directory{entries, {}};
        archive.setReadPos(static_cast<unsigned>(start));
        archive.read(directory.bytes, static_cast<unsigned>(length));
        return directory;
    }
    refuse("the file is no archive", sites::kZipFormat);
}

void checkName(std::string_view name) {
    const auto forbidden = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f || c == '\\'; };
    if (name.empty() || name.front() == '/' || std::any_of(name.begin(), name.end(), forbidden)) {
        refuse("an entry's name is not allowed", sites::kZipEntry);
    }
    for (std::string_view rest = name; !rest.empty();) {
        const auto slash = std::min(rest.find('/'), rest.size());
        if (rest.substr(0, slash) == "..") {
            refuse("an entry's name leaves the directory", sites::kZipEntry);
        }
        rest.remove_prefix(std::min(slash + 1, rest.size()));
    }
}

/// The upper half of the external attributes is the mode of a Unix file, or 0 from other systems.
void checkKind(std::uint32_t externalAttributes) {
    const std::uint32_t kind = (externalAttributes >> 16U) & S_IFMT;
    if (kind != 0 && kind != S_IFREG && kind != S_IFDIR) {
        refuse(kind == S_IFLNK ? "an entry is a symbolic link" : "an entry is neither file nor directory",
               sites::kZipEntry);
    }
}

/// The true length stands first in the ZIP64 extra field when the ordinary one does not hold it.
std::uint64_t lengthIn64(std::string_view extra) {
    while (extra.size() >= 4) {
        const Fields fields(extra);
        const std::size_t length = fields.u16(2);
        if (length > extra.size() - 4) {
            break;
        }
        if (fields.u16(0) == kZip64Extra && length >= 8) {
            return fields.u64(4);
        }
        extra.remove_prefix(4 + length);
    }
    refuse("an entry's length is missing", sites::kZipEntry);
}

}  // namespace

ZipSummary checkArchive(const String& path, const UnpackLimits& limits) {
    const Directory directory = readDirectory(path);
    if (directory.entries > limits.entries) {
        refuse("too many entries", sites::kZipEntry);
    }
    ZipSummary summary;
    std::string_view rest = directory.bytes.view();
    for (; summary.entries < directory.entries; ++summary.entries) {
        const Fields fields(rest);
        if (rest.size() < kEntryLength || fields.u32(0) != kEntrySignature) {
            refuse("the archive's directory is not sound", sites::kZipFormat);
        }
        const unsigned name = fields.u16(28);
        const unsigned extra = fields.u16(30);
        const unsigned length = kEntryLength + name + extra + fields.u16(32);
        if (rest.size() < length) {
            refuse("the archive's directory is not sound", sites::kZipFormat);
        }
        checkName(rest.substr(kEntryLength, name));
        checkKind(fields.u32(38));
        std::uint64_t bytes = fields.u32(24);
        if (bytes == kIn64) {
            bytes = lengthIn64(rest.substr(kEntryLength + name, extra));
        }
        if (bytes > limits.totalBytes - summary.totalBytes) {
            refuse("too many bytes", sites::kZipEntry);
        }
        summary.totalBytes += bytes;
        summary.largestFile = std::max(summary.largestFile, bytes);
        rest.remove_prefix(length);
    }
    if (!rest.empty()) {
        refuse("the archive's directory is not sound", sites::kZipFormat);
    }
    return summary;
}

}  // namespace tessel::zlib
