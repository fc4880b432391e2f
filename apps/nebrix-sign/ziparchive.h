// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <string_view>

struct archive;  // libarchive's

namespace tessel::sign {

/// Writes a ZIP archive in memory, with libarchive. One thread at a time.
///
/// The same members give the same bytes wherever they are packed: each carries the date 1 January 1980 and the owner 0.
/// (Deflated ones as long as zlib is the same.) Names go in as they are, so that hostile archives can be made too.
/// ESign is raised where libarchive refuses a member, such as one without a name.
class ZipArchive {
public:
    enum class Method { Deflated, Stored };

    explicit ZipArchive(Method method = Method::Deflated);
    ZipArchive(const ZipArchive&) = delete;
    ZipArchive& operator=(const ZipArchive&) = delete;
    ~ZipArchive();

    void addFile(std::string_view name, std::string_view content, unsigned permissions = 0644);
    /// A symbolic link, the way Info-ZIP stores it.
    void addLink(std::string_view name, std::string_view target);
    /// Ends the archive; no member may follow.
    [[nodiscard]] std::string finish();

private:
    struct Free {
        void operator()(::archive* writer) const noexcept;
    };

    void require(bool done) const;

    std::string m_bytes;
    std::unique_ptr<::archive, Free> m_writer;  // writes to m_bytes until it is freed
};

}  // namespace tessel::sign
