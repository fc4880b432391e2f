// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-sign/componentkind.h"

#include <algorithm>
#include <span>

#include "apps/nebrix-sign/errors.h"
#include "apps/nebrix-sign/sharedlibrary.h"
#include "sdk/include/nebrix_component.h"

namespace tessel::sign {

namespace {

using Entries = std::span<const char* const>;

constexpr const char* kPluginEntries[] = {
    NEBRIX_NAME_CREATE_PLUGIN_FRONTAL, NEBRIX_NAME_SET_DLL_VERSION, NEBRIX_NAME_SET_PLUGIN_DIR, NEBRIX_NAME_SET_LOGIN,
    NEBRIX_NAME_SET_ORGANIZATION, NEBRIX_NAME_SET_HOSTNAME, NEBRIX_NAME_SET_SERVER, NEBRIX_NAME_SET_SUFFIX,
    NEBRIX_NAME_SET_TICKET, NEBRIX_NAME_SET_SESSION_ID, NEBRIX_NAME_SET_CERT_DIRECTORY, NEBRIX_NAME_SET_CERT_FILE_NAME,
    NEBRIX_NAME_SET_CA_FILE_NAME, NEBRIX_NAME_SET_CERT_PASSWORD, NEBRIX_NAME_SET_DOWNLOAD_DELEGATE,
    NEBRIX_NAME_SET_PROXY, NEBRIX_NAME_GET_LOGS, NEBRIX_NAME_EXECUTE, NEBRIX_NAME_GET_ERRORS, NEBRIX_NAME_START,
    NEBRIX_NAME_STOP, NEBRIX_NAME_RELEASE_STR,
    // The last one is required without a tunnel alone.
    NEBRIX_NAME_LAUNCH_SAFE_RESOURCE};
constexpr const char* kHostCheckerEntries[] = {NEBRIX_NAME_INIT_HOST_CHECKER, NEBRIX_NAME_CLOSE_HOST_CHECKER,
                                               NEBRIX_NAME_GET_VALID_RULES};

Entries requiredEntries(ComponentKind kind) {
    const Entries plugin(kPluginEntries);
    switch (kind) {
        case ComponentKind::PluginDll:
            return plugin.first(plugin.size() - 1);
        case ComponentKind::PluginDllNoTunnel:
            return plugin;
        case ComponentKind::Hostchecker:
            break;
    }
    return kHostCheckerEntries;
}

/// The kind of which the library has any entry.
std::optional<ComponentKind> kindOf(const SharedLibrary& library) {
    for (const ComponentKind kind : {ComponentKind::PluginDll, ComponentKind::Hostchecker}) {
        if (std::ranges::any_of(requiredEntries(kind),
                                [&](const char* name) { return library.names.contains(name); })) {
            return kind;
        }
    }
    return std::nullopt;
}

std::string missingEntries(const SharedLibrary& library, ComponentKind kind) {
    std::string missing;
    for (const char* name : requiredEntries(kind)) {
        if (!library.names.contains(name)) {
            missing += (missing.empty() ? "" : ", ") + std::string(name);
        }
    }
    return missing;
}

}  // namespace

std::string_view componentKindName(ComponentKind kind) noexcept {
    switch (kind) {
        case ComponentKind::PluginDll:
            return "plugindll";
        case ComponentKind::PluginDllNoTunnel:
            return "plugindllnotunnel";
        case ComponentKind::Hostchecker:
            break;
    }
    return "hostchecker";
}

std::optional<ComponentKind> componentKindNamed(std::string_view name) {
    for (const auto kind : {ComponentKind::PluginDll, ComponentKind::PluginDllNoTunnel, ComponentKind::Hostchecker}) {
        if (name == componentKindName(kind)) {
            return kind;
        }
    }
    return std::nullopt;
}

std::optional<ComponentKind> componentKindOf(const std::string& path) {
    const SharedLibrary library = readSharedLibrary(path);
    const auto kind = kindOf(library);
    const bool opens = kind == ComponentKind::PluginDll && library.names.contains(NEBRIX_NAME_LAUNCH_SAFE_RESOURCE);
    return opens ? ComponentKind::PluginDllNoTunnel : kind;
}

Finding examineComponent(const std::string& path, std::optional<ComponentKind> kind) {
    using enum Finding::Verdict;
    const SharedLibrary library = readSharedLibrary(path);
    if (library.format == SharedLibrary::Format::None) {
        return {NoComponent, path + " is no shared library, neither an ELF one with a dynamic table nor a Mach-O one"};
    }
    if (library.format == SharedLibrary::Format::MachO) {
        return {NotLookedAt, path + " is a Mach-O library, whose entries are not looked at"};
    }
    if (!kind && !(kind = kindOf(library))) {
        return {NoComponent, path + " has no entry of a component"};
    }
    const std::string missing = missingEntries(library, *kind);
    return missing.empty() ? Finding{} : Finding{NoComponent, path + " lacks required entries: " + missing};
}

bool hasEntriesOf(const std::string& path, ComponentKind kind) {
    const SharedLibrary library = readSharedLibrary(path);
    return library.format == SharedLibrary::Format::Elf && missingEntries(library, kind).empty();
}

void requireComponent(const std::string& path) {
    const SharedLibrary library = readSharedLibrary(path);
    if (library.format != SharedLibrary::Format::Elf) {
        raise<ESign>(String::copy(path + " is no shared library of this system (ELF)"), sites::kNothingToCheck);
    }
    if (!kindOf(library)) {
        raise<ESign>(String::copy(path + " has no entry of a component"), sites::kNothingToCheck);
    }
}

}  // namespace tessel::sign
