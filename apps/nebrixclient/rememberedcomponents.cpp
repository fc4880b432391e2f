// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/rememberedcomponents.h"

#include <algorithm>
#include <chrono>

#include "apps/nebrixclient/sites.h"
#include "libs/base/file.h"
#include "libs/base/filelock.h"
#include "libs/base/log.h"
#include "libs/xml/parser.h"
#include "libs/xml/parserreader.h"

namespace tessel {

namespace {

constexpr const char* kRoot = "components";
constexpr const char* kItem = "component";
/// How long another process is waited for: what it does takes milliseconds.
constexpr std::chrono::milliseconds kPatience(500);

void warn(const char* method, const String& text) { log(LogCategory::Warning, "RememberedComponents", method, text); }

bool sameTexts(const DllInfos& one, const DllInfos& other) {
    return one.version == other.version && one.name == other.name && one.signdate == other.signdate &&
           one.sha256 == other.sha256;
}

bool fits(const String& gateway, const DllInfos& infos) {
    return std::ranges::all_of(std::initializer_list<String>{gateway, infos.version, infos.name},
                               [](const String& text) { return text.length() <= RememberedComponents::kLongestText; });
}

}  // namespace

String RememberedComponents::defaultPath() { return File::getUserApplicationDataDirectory() + "components.xml"; }

RememberedComponents RememberedComponents::load(const String& path) {
    RememberedComponents components;
    if (!File::exists(path)) {
        return components;
    }
    try {
        xml::ParserReader reader(path);
        components.keywrite(reader[kRoot]);
    } catch (const Exception& caught) {
        logCaught(caught, sites::kRememberedCatch);
        warn("load", path + " cannot be read: which components ran before is not known");
        return {};
    }
    return components;
}

void RememberedComponents::remember(const String& path, const String& gateway, const String& type,
                                    const DllInfos& infos) {
    try {
        if (!fits(gateway, infos)) {
            warn("remember", "The component's name or version is too long to be remembered");
            return;
        }
        const auto patient = std::chrono::steady_clock::now() + kPatience;
        const FileLock taken(path + ".lock", [&] { return std::chrono::steady_clock::now() < patient; });
        RememberedComponents components = load(path);
        const DllInfos* const known = components.find(gateway, type);
        if (known != nullptr && sameTexts(*known, infos)) {
            return;
        }
        components.put(gateway, type, infos);
        xml::Parser::write(path, kRoot, components);
    } catch (const Exception& caught) {
        logCaught(caught, sites::kRememberedCatch);
        warn("remember", path + " cannot be written: the component that runs is not remembered");
    }
}

std::vector<RememberedComponents::Entry>::const_iterator RememberedComponents::entryOf(const String& gateway,
                                                                                       const String& type) const {
    return std::ranges::find_if(m_entries,
                                [&](const Entry& entry) { return entry.gateway == gateway && entry.type == type; });
}

const DllInfos* RememberedComponents::find(const String& gateway, const String& type) const {
    const auto found = entryOf(gateway, type);
    return found == m_entries.end() ? nullptr : &found->infos;
}

void RememberedComponents::put(const String& gateway, const String& type, const DllInfos& infos) {
    if (const auto found = entryOf(gateway, type); found != m_entries.end()) {
        m_entries.erase(found);
    } else if (m_entries.size() >= kMost) {
        m_entries.erase(m_entries.begin());
    }
    m_entries.push_back({gateway, type, infos});
}

void RememberedComponents::read(IKeyWriter& writer) const {
    for (const Entry& entry : m_entries) {
        IKeyWriter& item = writer[kItem];
        item["gateway"].write(entry.gateway);
        item["type"].write(entry.type);
        entry.infos.read(item);
    }
}

void RememberedComponents::keywrite(IKeyReader& reader) {
    while (reader.exists(kItem)) {
        IKeyReader& item = reader[kItem];
        Entry entry;
        ConfReadHelper::readKey(item, "gateway", entry.gateway, true);
        ConfReadHelper::readKey(item, "type", entry.type, true);
        entry.infos.write(item);
        put(entry.gateway, entry.type, entry.infos);
    }
}

}  // namespace tessel
