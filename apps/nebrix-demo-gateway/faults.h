// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bitset>
#include <optional>
#include <span>
#include <string_view>

namespace tessel::gateway {

/// What the demo gateway can be told to do wrong.
enum class Fault : unsigned {
    Refusal,
    Status500,
    Status404,
    NotJson,
    DeepJson,
    Oversize,
    Redirect,
    MissingSuccess,
    MissingResult,
    MissingKey,
    UnknownType,
    MissingPlatform,
    BadFilename,
    BadPattern,
    BadMd5,
    Slow,
    Silent,
    Archive404,
    ArchiveCut,
    ArchiveDamaged,
    ArchiveSymlink,
    ArchiveEscape,
    ArchiveSilent,
    WrongMd5,
    WrongSignature,
    EditedLibrary,
    EditedVersion,
    EditedName,
    EditedDate,
    EditedDigest,
    NoSignatureKey,
    MissingSignature,
    ForeignKey,
    MissingLibrary,
    BadPostAnswer,
    PostRefusal,
    Count
};

inline constexpr auto kFaultCount = static_cast<std::size_t>(Fault::Count);

/// A set of faults; a small value.
class Faults {
public:
    void add(Fault fault) { m_bits.set(static_cast<std::size_t>(fault)); }
    [[nodiscard]] bool has(Fault fault) const { return m_bits.test(static_cast<std::size_t>(fault)); }

private:
    std::bitset<kFaultCount> m_bits;
};

/// A fault's name on the command line, and what the gateway does then.
struct FaultDescription {
    Fault fault;
    std::string_view name;
    std::string_view effect;
};

/// All of them, in the order of the enumeration.
std::span<const FaultDescription> faultDescriptions();
/// The fault of a name.
std::optional<Fault> faultNamed(std::string_view name);

}  // namespace tessel::gateway
