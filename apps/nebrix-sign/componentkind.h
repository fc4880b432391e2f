// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Whether a file is a library that a client could load and drive, by its bytes alone.
namespace tessel::sign {

enum class ComponentKind { PluginDll, PluginDllNoTunnel, Hostchecker };

/// By the name that the client configuration gives it ("plugindll", "plugindllnotunnel", "hostchecker").
std::optional<ComponentKind> componentKindNamed(std::string_view name);

std::string_view componentKindName(ComponentKind kind) noexcept;

/// The kind that the library's entries tell: a plug-in that can open a resource counts as one without tunnel. Nothing
/// for what has no entry of a component. Raises ESign when the file cannot be read.
std::optional<ComponentKind> componentKindOf(const std::string& path);

/// What was found out about a file, as a sentence that begins with its path.
struct Finding {
    enum class Verdict { Component, NotLookedAt, NoComponent };

    Verdict verdict = Verdict::Component;
    std::string text;
};

/// Compares a library's exported names with the required entries of a component (sdk/include/nebrix_component.h).
/// Without a kind it is whichever its entries tell. The plug-in without tunnel must be able to open a resource.
/// The entries of a Mach-O library are not looked at. Raises ESign when the file cannot be read.
Finding examineComponent(const std::string& path, std::optional<ComponentKind> kind);

/// Whether it is an ELF library that has all required entries of the kind. Raises ESign likewise.
bool hasEntriesOf(const std::string& path, ComponentKind kind);
/// Raises ESign, with a sentence that begins with the path, for what is no ELF library or has no entry of a component.
void requireComponent(const std::string& path);

}  // namespace tessel::sign
