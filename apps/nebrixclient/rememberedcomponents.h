// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "apps/nebrixclient/signeddll.h"
#include "libs/base/confhelper.h"

namespace tessel {

/// What was signed of the component that ran last, for each gateway and type of component, kept in components.xml
/// beside the settings. A plain value; used by one thread at a time.
class RememberedComponents final : public IConf {
public:
    /// Kept at most; the one that changed longest ago goes.
    static constexpr std::size_t kMost = 256;
    /// Bytes that a text of one may have; what is longer is not kept.
    static constexpr unsigned kLongestText = 1024;

    static String defaultPath();
    /// What the file has: nothing when there is none or, after a warning in the log, when it cannot be read.
    static RememberedComponents load(const String& path);
    /// Puts one into the file, which is replaced in one step, unless it is there as it is. Processes take turns. What
    /// fails is a warning in the log; raises only for want of memory.
    static void remember(const String& path, const String& gateway, const String& type, const DllInfos& infos);

    /// Null when none is known. As long as this object does not change.
    [[nodiscard]] const DllInfos* find(const String& gateway, const String& type) const;
    void put(const String& gateway, const String& type, const DllInfos& infos);

    using IConf::read;
    void read(IKeyWriter& writer) const override;
    void keywrite(IKeyReader& reader) override;

private:
    struct Entry {
        String gateway;
        String type;
        DllInfos infos;
    };
    [[nodiscard]] std::vector<Entry>::const_iterator entryOf(const String& gateway, const String& type) const;

    std::vector<Entry> m_entries;  // the one that changed last at the end
};

}  // namespace tessel
