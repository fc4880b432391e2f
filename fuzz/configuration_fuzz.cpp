// SPDX-License-Identifier: Apache-2.0
// A gateway's answer of any content, from the text to a dispatched configuration; and a plug-in's status list.
#include <cstdint>

#include "apps/nebrixclient/clientconfiguration.h"
#include "apps/nebrixclient/mediationresponse.h"
#include "apps/nebrixclient/plainname.h"
#include "apps/nebrixclient/pluginstatus.h"

namespace {

using namespace tessel;

/// Looks at what a component would use.
class Reader final : public ClientConfigurationDispatcher {
public:
    void dispatch(ClientHostcheckerDllConfiguration& configuration) override { use(configuration.hostcheckerDlls); }
    void dispatch(ClientPluginDllConfiguration& configuration) override { use(configuration.pluginDlls); }
    void dispatch(NoTunnelClientPluginDllConfiguration& configuration) override { use(configuration.pluginDlls); }

private:
    static void use(const Dlls& dlls) { isPlainName(dlls.current().filename); }
};

class Deaf final : public INebrixClientNotify {
public:
    void onConnectError(const RequestInfo& /*request*/) override {}
    void onFatalError(const String& /*text*/) override {}
    void onStatus(const ClientStatus& /*status*/) override {}
    void onVpnStatus(const String& /*line*/) override {}
    void onDispatch(ClientType /*type*/) override {}
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const String text = String::copy(reinterpret_cast<const char*>(data), static_cast<unsigned>(size));
    Deaf deaf;
    StopFlag stop;
    SessionAccount account;
    PluginStatus(deaf, stop, account).process(text);
    try {
        MediationResponse response(text);
        Reader reader;
        ClientConfiguration::load(response.reader()["result"])->accept(reader);
    } catch (const Exception&) {
        // Every failure is of the toolkit's family.
    }
    return 0;
}
