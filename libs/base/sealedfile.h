// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "libs/base/descriptor.h"
#include "libs/base/string.h"

namespace tessel {

/// The bytes that a file had when it was opened, in memory that nobody can change any more, not even this process: what
/// is checked of them holds for whoever reads them later, whatever becomes of the file. Moves; one thread at a time.
class SealedFile {
public:
    /// None.
    SealedFile() = default;
    /// Opens the file once and copies it. A link is followed, here alone. Raises EFile, after a line in the log, when
    /// the file is no regular one, cannot be read or is longer than `most` bytes, and when the system gives no such
    /// memory, or none whose content may be run (vm.memfd_noexec).
    SealedFile(const String& path, std::uint64_t most);
    /// Takes over what another process sealed; the path is only a name. Raises EFile when it is not sealed.
    static SealedFile adopt(Descriptor descriptor, const String& path);

    [[nodiscard]] bool valid() const noexcept { return m_descriptor.valid(); }
    [[nodiscard]] int descriptor() const noexcept { return m_descriptor.get(); }
    /// The file's path as the user knows it. Nothing is read from there again.
    [[nodiscard]] const String& path() const noexcept { return m_path; }
    /// A path under which this process, and one that traces it, open exactly these bytes while this object lives.
    [[nodiscard]] String openPath() const;
    /// The same for as long as the process lives, by a descriptor that is never closed: for the dynamic loader, which
    /// takes what it is given under a path that it knows for the library that it has. Raises EFile without a
    /// descriptor.
    [[nodiscard]] String lastingPath() const;

private:
    Descriptor m_descriptor;
    String m_path;
};

}  // namespace tessel
