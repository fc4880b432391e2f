#include "apps/nebrix-demo-gateway/options.h"

#include <algorithm>

namespace tessel::gateway {

std::string_view typeName(ComponentType type) {
    switch (type) {
        case ComponentType::PluginDll:
            return "plugindll";
        case ComponentType::PluginDllNoTunnel:
            return "plugindllnotunnel";
        case ComponentType::Hostchecker:
            break;
    }
    return "hostchecker";
}

std::optional<ComponentType> typeNamed(std::string_view name) {
    const auto found = std::ranges::find(kComponentTypes, name, typeName);
    return found == kComponentTypes.end() ? std::nullopt : std::optional(*found);
}

}  // namespace tessel::gateway
