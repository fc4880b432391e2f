// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-sign/ziparchive.h"

#include <archive.h>
#include <archive_entry.h>

#include <cerrno>
#include <new>
#include <utility>

#include "apps/nebrix-sign/errors.h"

namespace tessel::sign {

namespace {

la_ssize_t append(::archive* writer, void* bytes, const void* data, std::size_t length) noexcept {
    try {
        static_cast<std::string*>(bytes)->append(static_cast<const char*>(data), length);
        return static_cast<la_ssize_t>(length);
    } catch (const std::bad_alloc&) {
        ::archive_set_error(writer, ENOMEM, "no memory left");
        return ARCHIVE_FATAL;
    }
}

using Entry = std::unique_ptr<::archive_entry, decltype(&::archive_entry_free)>;

/// Without dates: the writer makes the earliest that ZIP knows of them, in every time zone.
Entry entryOf(std::string_view name, unsigned type, unsigned permissions) {
    Entry entry(::archive_entry_new(), &::archive_entry_free);
    if (!entry) {
        throw std::bad_alloc();
    }
    ::archive_entry_set_pathname(entry.get(), std::string(name).c_str());
    ::archive_entry_set_filetype(entry.get(), type);
    ::archive_entry_set_perm(entry.get(), permissions);
    return entry;
}

}  // namespace

void ZipArchive::Free::operator()(::archive* writer) const noexcept { ::archive_write_free(writer); }

ZipArchive::ZipArchive(Method method) : m_writer(::archive_write_new()) {
    if (!m_writer) {
        throw std::bad_alloc();
    }
    ::archive* const writer = m_writer.get();
    require(::archive_write_set_format_zip(writer) == ARCHIVE_OK);
    require((method == Method::Stored ? ::archive_write_zip_set_compression_store(writer)
                                      : ::archive_write_zip_set_compression_deflate(writer)) == ARCHIVE_OK);
    require(::archive_write_set_bytes_in_last_block(writer, 1) == ARCHIVE_OK);  // nothing behind the end
    require(::archive_write_open(writer, &m_bytes, nullptr, &append, nullptr) == ARCHIVE_OK);
}

ZipArchive::~ZipArchive() = default;

void ZipArchive::addFile(std::string_view name, std::string_view content, unsigned permissions) {
    const Entry entry = entryOf(name, AE_IFREG, permissions);
    ::archive_entry_set_size(entry.get(), static_cast<la_int64_t>(content.size()));
    require(::archive_write_header(m_writer.get(), entry.get()) == ARCHIVE_OK);
    require(::archive_write_data(m_writer.get(), content.data(), content.size()) ==
            static_cast<la_ssize_t>(content.size()));
}

void ZipArchive::addLink(std::string_view name, std::string_view target) {
    const Entry entry = entryOf(name, AE_IFLNK, 0777);
    ::archive_entry_set_symlink(entry.get(), std::string(target).c_str());
    require(::archive_write_header(m_writer.get(), entry.get()) == ARCHIVE_OK);
}

std::string ZipArchive::finish() {
    require(::archive_write_close(m_writer.get()) == ARCHIVE_OK);
    return std::move(m_bytes);
}

void ZipArchive::require(bool done) const {
    if (!done) {
        const char* const why = ::archive_error_string(m_writer.get());
        raise<ESign>(String::copy("the archive cannot be written: " + std::string(why == nullptr ? "unknown" : why)),
                     sites::kArchive);
    }
}

}  // namespace tessel::sign
