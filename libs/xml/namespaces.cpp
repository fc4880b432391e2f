// SPDX-License-Identifier: Apache-2.0
#include "libs/xml/namespaces.h"

#include <algorithm>

namespace tessel::xml {

const NamespaceMap* NamespaceMap::make(Storage& storage, std::vector<Namespace>& declared, const NamespaceMap* outer) {
    std::stable_sort(declared.begin(), declared.end(),
                     [](const Namespace& left, const Namespace& right) { return left.prefix < right.prefix; });
    auto* entries = static_cast<Namespace*>(storage.allocate(declared.size() * sizeof(Namespace)));
    std::size_t count = 0;
    for (const Namespace& one : declared) {
        if (count != 0 && entries[count - 1].prefix == one.prefix) {
            --count;
        }
        new (&entries[count++]) Namespace(one);
    }
    return storage.make<NamespaceMap>(entries, count, outer);
}

const Namespace* NamespaceMap::find(const NamespaceMap* map, Piece prefix) noexcept {
    for (; map != nullptr; map = map->m_outer) {
        const Namespace* found = std::lower_bound(map->begin(), map->end(), prefix,
                                                  [](const Namespace& entry, Piece key) { return entry.prefix < key; });
        if (found != map->end() && found->prefix == prefix) {
            return found;
        }
    }
    return nullptr;
}

}  // namespace tessel::xml
