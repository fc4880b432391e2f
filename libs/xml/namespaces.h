// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "libs/xml/storage.h"

namespace tessel::xml {

/// One declared prefix, in lower case, and what it stands for.
struct Namespace {
    Piece prefix;
    Piece name;
};

/// The prefixes that one start tag declares, on top of those that its element inherited. Lies in the document's
/// storage and never changes, so that any number of elements share it. A look-up costs the logarithm of each level,
/// and there are at most Storage::kDeepestNesting levels.
class NamespaceMap {
public:
    /// A later declaration of a prefix takes the place of an earlier one.
    static const NamespaceMap* make(Storage& storage, std::vector<Namespace>& declared, const NamespaceMap* outer);

    /// The innermost declaration of a prefix in lower case, or none.
    static const Namespace* find(const NamespaceMap* map, Piece prefix) noexcept;

    [[nodiscard]] const Namespace* begin() const noexcept { return m_entries; }
    [[nodiscard]] const Namespace* end() const noexcept { return m_entries + m_count; }

private:
    friend class Storage;
    NamespaceMap(const Namespace* entries, std::size_t count, const NamespaceMap* outer) noexcept
        : m_entries(entries), m_count(count), m_outer(outer) {}

    const Namespace* m_entries;
    std::size_t m_count;
    const NamespaceMap* m_outer;
};

}  // namespace tessel::xml
