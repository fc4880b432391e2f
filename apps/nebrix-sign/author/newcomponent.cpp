// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-sign/author/newcomponent.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

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

void makeEmptyDirectory(const std::string& directory) {
    std::error_code error;
    fs::create_directories(directory, error);
    const bool empty = !error && fs::is_empty(directory, error);
    if (error) {
        raise<ESign>(String::copy("cannot make the directory " + directory + ": " + error.message()),
                     sites::kCannotWrite);
    }
    if (!empty) {
        raise<ESign>(String::copy(directory + " is not empty, and nothing is overwritten"), sites::kFileExists);
    }
}

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
    makeEmptyDirectory(directory);
    constexpr mode_t kMode = 0644;
    const std::pair<std::string, std::string_view> files[] = {{name + ".c", sourceOf(kind)},
                                                              {"Makefile", builtin::kMakefile},
                                                              {"CMakeLists.txt", builtin::kCMakeLists},
                                                              {"nebrix_component.h", builtin::kComponentHeader}};
    for (const auto& [file, text] : files) {
        const std::string named = replaced(std::string(text), "@NAME@", name);
        place((fs::path(directory) / file).string(), replaced(named, "@TYPE@", componentKindName(kind)), kMode, false);
    }
}

}  // namespace tessel::sign
