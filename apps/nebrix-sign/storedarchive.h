#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tessel::sign {

/// Writes a ZIP archive (PKWARE APPNOTE 6.3, version 2.0 features) in memory, its members stored and not compressed.
///
/// The same members give the same bytes: every member carries the date 1 January 1980. Names go in as they are, so that
/// hostile archives can be made too. Sizes must stay below 4 GiB altogether; ESign is raised beyond.
class StoredArchive {
public:
    void addFile(std::string_view name, std::string_view content, unsigned permissions = 0644);
    /// A symbolic link, the way Info-ZIP stores it.
    void addLink(std::string_view name, std::string_view target);
    /// The whole archive with the members added so far.
    [[nodiscard]] std::string bytes() const;

private:
    void add(std::string_view name, std::string_view content, unsigned mode);

    std::string m_members;
    std::string m_directory;
    std::uint16_t m_count = 0;
};

/// CRC-32 as ZIP uses it (ISO 3309, reflected polynomial 0xEDB88320).
std::uint32_t crc32(std::string_view bytes) noexcept;

}  // namespace tessel::sign
