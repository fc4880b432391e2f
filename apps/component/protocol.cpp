// SPDX-License-Identifier: Apache-2.0
#include "apps/component/protocol.h"

namespace tessel {

namespace {

constexpr String PluginDllInstance::Parameters::*kTexts[] = {
    &PluginDllInstance::Parameters::login,        &PluginDllInstance::Parameters::organization,
    &PluginDllInstance::Parameters::hostname,     &PluginDllInstance::Parameters::server,
    &PluginDllInstance::Parameters::suffix,       &PluginDllInstance::Parameters::ticket,
    &PluginDllInstance::Parameters::sessionId,    &PluginDllInstance::Parameters::certDirectory,
    &PluginDllInstance::Parameters::certFileName, &PluginDllInstance::Parameters::caFileName,
    &PluginDllInstance::Parameters::certPassword};

}  // namespace

void write(MessageWriter& writer, const PluginDllInstance::Parameters& parameters) {
    for (const auto text : kTexts) {
        writer.text(parameters.*text);
    }
    for (const String& name : parameters.sslServerNames) {
        writer.text(name);
    }
}

PluginDllInstance::Parameters readParameters(MessageReader& reader) {
    PluginDllInstance::Parameters parameters;
    for (const auto text : kTexts) {
        parameters.*text = reader.text();
    }
    while (!reader.atEnd()) {
        parameters.sslServerNames.push_back(reader.text());
    }
    return parameters;
}

}  // namespace tessel
