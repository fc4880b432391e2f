// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/componentstandin.h"

#include "sdk/include/nebrix_component.h"

namespace tessel {

namespace {

constexpr const char* kLoading = "dlopen";

}  // namespace

PluginProcess::PluginProcess(ComponentProcess& process, const SealedFile& library, const String& version,
                             const String& pluginDir)
    : m_process(process) {
    MessageWriter message(MessageKind::LoadPlugin);
    message.text(library.path()).text(version).text(pluginDir);
    m_process.call(kLoading, message, ComponentProcess::Patience::Usual, library.descriptor());
}

void PluginProcess::start(const Parameters& parameters) {
    MessageWriter message(MessageKind::Start);
    write(message, parameters);
    m_process.call(NEBRIX_NAME_START, message);
}

String PluginProcess::stop() {
    return m_process.call(NEBRIX_NAME_STOP, MessageWriter(MessageKind::Stop), ComponentProcess::Patience::Stop).text;
}

void PluginProcess::setProxy(bool useProxy, const Proxy& proxy) {
    const Credentials credentials = proxy.getCredentials();
    MessageWriter message(MessageKind::SetProxy);
    message.number(useProxy ? 1 : 0)
        .number(static_cast<int>(proxy.getType()))
        .text(proxy.getHost())
        .text(credentials.getLogin())
        .text(credentials.getPassword())
        .text(credentials.getDomain());
    m_process.call(NEBRIX_NAME_SET_PROXY, message);
}

String PluginProcess::getErrors() {
    return m_process.call(NEBRIX_NAME_GET_ERRORS, MessageWriter(MessageKind::GetErrors)).text;
}

int PluginProcess::LaunchSafeResource(int id, const String& name) {
    MessageWriter message(MessageKind::LaunchResource);
    message.number(id).text(name);
    return m_process.call(NEBRIX_NAME_LAUNCH_SAFE_RESOURCE, message, ComponentProcess::Patience::Long).number;
}

HostCheckerProcess::HostCheckerProcess(ComponentProcess& process, const SealedFile& library) : m_process(process) {
    MessageWriter message(MessageKind::LoadHostChecker);
    message.text(library.path());
    m_process.call(kLoading, message, ComponentProcess::Patience::Usual, library.descriptor());
}

void HostCheckerProcess::start(const String& directory, const String& hostname, const String& language) {
    MessageWriter message(MessageKind::InitHostChecker);
    message.text(directory).text(hostname).text(language);
    m_process.call(NEBRIX_NAME_INIT_HOST_CHECKER, message);
}

void HostCheckerProcess::stop() {
    m_process.call(NEBRIX_NAME_CLOSE_HOST_CHECKER, MessageWriter(MessageKind::CloseHostChecker),
                   ComponentProcess::Patience::Stop);
}

String HostCheckerProcess::getValidRules(const String& request) {
    MessageWriter message(MessageKind::GetValidRules);
    message.text(request);
    return m_process.call(NEBRIX_NAME_GET_VALID_RULES, message, ComponentProcess::Patience::Long).text;
}

}  // namespace tessel
