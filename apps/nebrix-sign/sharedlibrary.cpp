// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-sign/sharedlibrary.h"

#include <fcntl.h>
#include <gelf.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>

#include "apps/nebrix-sign/errors.h"
#include "libs/base/freewith.h"

namespace tessel::sign {

namespace {

using Names = decltype(SharedLibrary::names);

class OpenFile {
public:
    explicit OpenFile(const std::string& path) : m_file(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
        if (m_file < 0) {
            raise<ESign>(String::copy("cannot read " + path + ": " + std::strerror(errno)), sites::kCannotRead);
        }
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    ~OpenFile() { ::close(m_file); }

    [[nodiscard]] int number() const noexcept { return m_file; }

    /// The little-endian number of 32 bits at an offset; what lies behind the end counts as 0.
    [[nodiscard]] std::uint32_t wordAt(off_t offset) const noexcept {
        unsigned char bytes[4] = {};
        [[maybe_unused]] const ssize_t count = ::pread(m_file, bytes, sizeof bytes, offset);
        return std::uint32_t{bytes[3]} << 24 | std::uint32_t{bytes[2]} << 16 | std::uint32_t{bytes[1]} << 8 | bytes[0];
    }

private:
    const int m_file;
};

using ElfPointer = std::unique_ptr<Elf, FreeWith<elf_end>>;

bool isSharedObject(Elf* elf) {
    GElf_Ehdr header;
    std::size_t segments = 0;
    if (elf_kind(elf) != ELF_K_ELF || gelf_getehdr(elf, &header) == nullptr || header.e_type != ET_DYN ||
        elf_getphdrnum(elf, &segments) != 0) {
        return false;
    }
    for (std::size_t i = 0; i < segments; ++i) {
        GElf_Phdr segment;
        if (gelf_getphdr(elf, static_cast<int>(i), &segment) != nullptr && segment.p_type == PT_DYNAMIC) {
            return true;
        }
    }
    return false;
}

/// What a section of dynamic symbols defines for others.
void addNames(Elf* elf, Elf_Scn* section, Names& names) {
    GElf_Shdr header;
    Elf_Data* const data = elf_getdata(section, nullptr);
    if (data == nullptr || gelf_getshdr(section, &header) == nullptr || header.sh_entsize == 0) {
        return;
    }
    const auto count = static_cast<int>(data->d_size / header.sh_entsize);
    for (int i = 0; i < count; ++i) {
        GElf_Sym symbol;
        if (gelf_getsym(data, i, &symbol) == nullptr || symbol.st_shndx == SHN_UNDEF ||
            GELF_ST_BIND(symbol.st_info) == STB_LOCAL) {
            continue;
        }
        if (const char* name = elf_strptr(elf, header.sh_link, symbol.st_name)) {
            names.insert(name);
        }
    }
}

Names namesOf(Elf* elf) {
    Names names;
    for (Elf_Scn* section = nullptr; (section = elf_nextscn(elf, section)) != nullptr;) {
        GElf_Shdr header;
        if (gelf_getshdr(section, &header) != nullptr && header.sh_type == SHT_DYNSYM) {
            addNames(elf, section, names);
        }
    }
    return names;
}

/// By the headers of Mach-O: a file for one processor, or one that begins with a table of such files.
bool isMachLibrary(const OpenFile& file) {
    constexpr std::uint32_t kSeveral = 0xBEBAFECA;  // 0xCAFEBABE; all numbers of the table are big-endian
    constexpr std::uint32_t kOne32 = 0xFEEDFACE;
    constexpr std::uint32_t kOne64 = 0xFEEDFACF;
    constexpr std::uint32_t kLibrary = 6;
    constexpr std::uint32_t kBundle = 8;
    const off_t start = file.wordAt(0) == kSeveral ? off_t{__builtin_bswap32(file.wordAt(16))} : 0;
    const std::uint32_t magic = file.wordAt(start);
    const std::uint32_t kind = file.wordAt(start + 12);
    return (magic == kOne32 || magic == kOne64) && (kind == kLibrary || kind == kBundle);
}

}  // namespace

SharedLibrary readSharedLibrary(const std::string& path) {
    const OpenFile file(path);
    elf_version(EV_CURRENT);
    const ElfPointer elf(elf_begin(file.number(), ELF_C_READ, nullptr));
    if (elf != nullptr && isSharedObject(elf.get())) {
        return {SharedLibrary::Format::Elf, namesOf(elf.get())};
    }
    return {isMachLibrary(file) ? SharedLibrary::Format::MachO : SharedLibrary::Format::None, {}};
}

}  // namespace tessel::sign
