// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-sign/author/newcomponent.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <vector>

#include "apps/nebrix-sign/builtinfiles.h"
#include "apps/nebrix-sign/files.h"

namespace tessel::sign {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kLongestName = 64;

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

std::string_view sourceOf(ComponentKind kind) {
    switch (kind) {
        case ComponentKind::PluginDll:
            return builtin::kTunnel;
        case ComponentKind::PluginDllNoTunnel:
            return builtin::kNotunnel;
        case ComponentKind::Hostchecker:
            break;
    }
    return builtin::kHostchecker;
}

std::string replaced(std::string text, std::string_view mark, std::string_view by) {
    for (auto at = text.find(mark); at != std::string::npos; at = text.find(mark, at + by.size())) {
        text.replace(at, mark.size(), by);
    }
    return text;
}

/// The directory that a component is begun in. It is again as it was found, unless keep() is called.
class Destination {
public:
    explicit Destination(const std::string& path) : m_path(path), m_made(makeDirectory(path)) {
        std::error_code unreadable;
        if (!m_made && !fs::is_empty(path, unreadable)) {
            raise<ESign>(String::copy(path + " is not empty, and nothing is overwritten"), sites::kFileExists);
        }
    }
    Destination(const Destination&) = delete;
    Destination& operator=(const Destination&) = delete;
    ~Destination() {
        std::error_code ignored;
        std::for_each(m_written.begin(), m_written.end(), [&](const fs::path& file) { fs::remove(file, ignored); });
        if (m_made) {
            fs::remove(m_path, ignored);
        }
    }

    void add(const std::string& name, const std::string& text) {
        constexpr mode_t kMode = 0644;
        place((m_path / name).string(), text, kMode, false);
        m_written.push_back(m_path / name);
    }
    void keep() {
        m_written.clear();
        m_made = false;
    }

private:
    const fs::path m_path;
    bool m_made;
    std::vector<fs::path> m_written;
};

}  // namespace

bool isComponentName(std::string_view name) noexcept {
    return !name.empty() && name.size() <= kLongestName && isLetter(name.front()) &&
           std::ranges::all_of(name,
                               [](char c) { return isLetter(c) || (c >= '0' && c <= '9') || c == '-' || c == '_'; });
}

void writeNewComponent(ComponentKind kind, const std::string& name, const std::string& directory) {
    if (!isComponentName(name)) {
        raise<ESign>(String::copy("\"" + name + "\" is no name for a component: that is a letter, then letters, " +
                                  "digits, \"-\" and \"_\", 64 in all"),
                     sites::kBadComponentName);
    }
    Destination destination(directory);
    const std::pair<std::string, std::string_view> files[] = {{name + ".c", sourceOf(kind)},
                                                              {"Makefile", builtin::kMakefile},
                                                              {"CMakeLists.txt", builtin::kCMakeLists},
                                                              {"nebrix_component.h", builtin::kComponentHeader}};
    for (const auto& [file, text] : files) {
        const std::string named = replaced(std::string(text), "@NAME@", name);
        destination.add(file, replaced(named, "@TYPE@", componentKindName(kind)));
    }
    destination.keep();
}

}  // namespace tessel::sign
