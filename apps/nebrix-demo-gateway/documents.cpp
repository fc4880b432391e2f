// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-demo-gateway/documents.h"

#include "libs/json/jsonmutwrapper.h"

namespace tessel::gateway {

namespace {

using json::JSONMutWrapper;

JSONMutWrapper download(const std::string& filename, const std::string& md5, const std::string& urlPath) {
    JSONMutWrapper object = JSONMutWrapper::object();
    object.set("filename", filename.c_str()).set("md5", md5.c_str()).set("urlpath", urlPath.c_str());
    return object;
}

/// The path as clients are told it.
std::string urlOf(const Session& session, const std::string& path) {
    const std::string& elsewhere = session.options.elsewhere;
    return elsewhere.empty() ? path : "https://" + elsewhere + path;
}

/// The component under this platform's name and, as real gateways have it, under others too.
JSONMutWrapper libraries(const Session& session) {
    const ServedComponent& component = session.component;
    const std::string urlPath = urlOf(session, component.urlPath);
    JSONMutWrapper library = download(component.filename, component.md5, urlPath);
    library.set("pattern", component.pattern.c_str()).set("version", component.version.c_str());
    JSONMutWrapper older = download("older-" + component.filename, "", urlPath);
    older.set("pattern", component.pattern.c_str()).set("version", component.version.c_str());

    JSONMutWrapper platforms = JSONMutWrapper::object();
    platforms.set("linux64", older);
    if (!session.options.faults.has(Fault::MissingPlatform)) {
        platforms.set("linux64_openssl3", library);
    }
    return platforms;
}

JSONMutWrapper certificate(const ServedCertificate& served) {
    return download(served.filename, served.md5, kCertificatePath);
}

/// The names that the tunnel's server may bear. Without a word about it that server is this gateway.
JSONMutWrapper serverNames(const GatewayOptions& options) {
    JSONMutWrapper names = JSONMutWrapper::array();
    for (const std::string& name : options.serverNames) {
        names.append(name.c_str());
    }
    if (options.server.empty() && options.serverNames.empty()) {
        names.append("localhost").append("127.0.0.1");
    }
    return names;
}

JSONMutWrapper tunnelPlugin(const Session& session) {
    const GatewayOptions& options = session.options;
    JSONMutWrapper certificates = JSONMutWrapper::object();
    certificates.set("cert", certificate(session.certificates.client))
        .set("ca", certificate(session.certificates.authority));

    JSONMutWrapper object = JSONMutWrapper::object();
    object.set("orgname", options.organisation.c_str())
        .set("server", (options.server.empty() ? session.authority : options.server).c_str())
        .set("certPassword", options.certificatePassword.c_str())
        .set("login", options.login.c_str())
        .set("ticket", options.ticket.c_str())
        .set("sessionid", options.sessionId.c_str())
        .set("pluginDlls", libraries(session))
        .set("certificates", certificates)
        .set("clientid", session.clientId.c_str())
        .set("sslservercertname", serverNames(options));
    return object;
}

JSONMutWrapper pluginWithoutTunnel(const Session& session) {
    const GatewayOptions& options = session.options;
    JSONMutWrapper object = JSONMutWrapper::object();
    object.set("orgname", options.organisation.c_str())
        .set("pluginDlls", libraries(session))
        .set("service", options.service.c_str())
        .set("clientid", session.clientId.c_str())
        .set("safetype", options.safeType);
    return object;
}

JSONMutWrapper hostChecker(const Session& session) {
    const GatewayOptions& options = session.options;
    JSONMutWrapper object = JSONMutWrapper::object();
    object.set("hostcheckerDlls", libraries(session))
        .set("hostcheckingrequest", options.hostCheckingRequest.c_str())
        .set("responseurl", urlOf(session, kResponsePath).c_str())
        .set("hostname", session.authority.substr(0, session.authority.find(':')).c_str())
        .set("language", session.language.c_str())
        .set("hostcheckingtimer", options.hostCheckingTimer);
    return object;
}

JSONMutWrapper configuration(const Session& session) {
    switch (session.type) {
        case ComponentType::PluginDll:
            return tunnelPlugin(session);
        case ComponentType::PluginDllNoTunnel:
            return pluginWithoutTunnel(session);
        case ComponentType::Hostchecker:
            break;
    }
    return hostChecker(session);
}

std::string toText(const JSONMutWrapper& object) { return std::string(json::toString(object).view()) + "\n"; }

}  // namespace

std::string mediationAnswer(const Session& session) {
    const Faults& faults = session.options.faults;
    JSONMutWrapper result = configuration(session);
    result.set("type", std::string(faults.has(Fault::UnknownType) ? "unknown" : typeName(session.type)).c_str());
    if (faults.has(Fault::MissingKey)) {
        result.remove(session.type == ComponentType::Hostchecker ? "responseurl" : "clientid");
    }
    JSONMutWrapper answer = JSONMutWrapper::object();
    answer.set("code", 0);
    if (!faults.has(Fault::MissingSuccess)) {
        answer.set("success", true);
    }
    if (!faults.has(Fault::MissingResult)) {
        answer.set("result", result);
    }
    return toText(answer);
}

std::string refusal(const std::string& reason) {
    JSONMutWrapper answer = JSONMutWrapper::object();
    answer.set("success", false)
        .set("code", 1)
        .set("exception", reason.c_str())
        .set("result", JSONMutWrapper::object());
    return toText(answer);
}

std::string hostCheckAnswer(bool goOn, const std::string& info) {
    JSONMutWrapper result = JSONMutWrapper::object();
    result.set("continue", goOn).set("info", info.c_str());
    JSONMutWrapper answer = JSONMutWrapper::object();
    answer.set("success", true).set("code", 0).set("result", result);
    return toText(answer);
}

}  // namespace tessel::gateway
