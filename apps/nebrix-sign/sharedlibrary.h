// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <set>
#include <string>

namespace tessel::sign {

/// What the bytes of a shared library say of it. Nothing of it is run: its constructors are foreign code.
struct SharedLibrary {
    /// What the file is. Of Mach-O the kind is told by its header alone: its names are not looked for.
    enum class Format { None, Elf, MachO };

    Format format = Format::None;
    /// The names that dlsym(3) would find in an ELF library. Versions are passed over.
    std::set<std::string, std::less<>> names;
};

/// ELF: a shared object (ET_DYN) with a dynamic table. Mach-O: a dynamic library or bundle, for one processor or
/// several. Anything else, what is damaged included, has the format None. Raises ESign when the file cannot be read.
SharedLibrary readSharedLibrary(const std::string& path);

}  // namespace tessel::sign
