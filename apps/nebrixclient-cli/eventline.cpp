// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient-cli/eventline.h"

#include "apps/nebrixclient/account.h"
#include "apps/nebrixclient/certificatewords.h"
#include "libs/base/printable.h"
#include "libs/curl/requestinfo.h"
#include "libs/json/jsonmutwrapper.h"
#include "libs/openssl/fingerprint.h"

namespace tessel::eventline {

namespace {

const char* nameOf(ClientType type) {
    switch (type) {
        case ClientType::PluginDll:
            return "tunnel plug-in";
        case ClientType::HostChecker:
            return "host checker";
        case ClientType::PluginDllNoTunnel:
            return "plug-in without tunnel";
    }
    return "unknown";
}

String line(const char* event, const String& text) {
    const String shown = printable(text);
    return shown.empty() ? String::copy(event) : String(String::copy(event) + ": " + shown);
}

json::JSONMutWrapper object(const char* event) {
    json::JSONMutWrapper json = json::JSONMutWrapper::object();
    json.set("event", event);
    return json;
}

String withText(Form form, const char* event, const String& text) {
    return form == Form::Text ? line(event, text) : json::toLine(object(event).set("text", text));
}

void setTexts(json::JSONMutWrapper& object, std::initializer_list<std::pair<const char*, String>> texts) {
    for (const auto& [key, text] : texts) {
        if (!text.empty()) {
            object.set(key, text);
        }
    }
}

json::JSONMutWrapper peerObject(const tls::PeerCertificate& peer) {
    json::JSONMutWrapper object = json::JSONMutWrapper::object();
    setTexts(object, {{"subject", peer.subject},
                      {"issuer", peer.issuer},
                      {"notBefore", peer.notBeforeText},
                      {"notAfter", peer.notAfterText},
                      {"fingerprint", tls::fingerprintText(peer.fingerprint)},
                      {"keyFingerprint", tls::fingerprintText(peer.keyFingerprint)}});
    json::JSONMutWrapper names = json::JSONMutWrapper::array();
    for (const String& name : peer.names) {
        names.append(name);
    }
    json::JSONMutWrapper wrong = json::JSONMutWrapper::array();
    for (const tls::PeerCertificate::Reason flaw : peer.flaws) {
        const EndCause cause = causeOf(flaw);
        wrong.append(cause != EndCause::None ? String(name(cause)) : peer.verifyText);
    }
    object.set("names", names).set("wrong", wrong);
    if (peer.trusted) {
        setTexts(object, {{"trustedFingerprint", tls::fingerprintText(peer.trusted->fingerprint)},
                          {"trustedKeyFingerprint", tls::fingerprintText(peer.trusted->keyFingerprint)},
                          {"trustedSince", peer.trusted->since < 0 ? String() : timeInWords(peer.trusted->since)}});
    }
    return object;
}

}  // namespace

const char* nameOf(ClientStatus status) {
    switch (status) {
        case ClientStatus::Idle:
            return "idle";
        case ClientStatus::DownloadingComponents:
            return "downloading components";
        case ClientStatus::Connected:
            return "connected";
        case ClientStatus::SessionOver:
            return "session over";
        case ClientStatus::HostChecking:
            return "host checking";
    }
    return "unknown";
}

String dispatch(Form form, ClientType type) {
    constexpr const char* kEvent = "dispatch";
    if (form == Form::Text) {
        return line(kEvent, nameOf(type));
    }
    return json::toLine(object(kEvent).set("type", static_cast<int>(type)).set("name", nameOf(type)));
}

String status(Form form, ClientStatus status) {
    constexpr const char* kEvent = "status";
    if (form == Form::Text) {
        return line(kEvent, nameOf(status));
    }
    return json::toLine(object(kEvent).set("status", static_cast<int>(status)).set("name", nameOf(status)));
}

String vpn(Form form, const String& text) { return withText(form, "vpn", text); }

String connectError(Form form, const RequestInfo& request) {
    constexpr const char* kEvent = "connect-error";
    if (form == Form::Text) {
        return line(kEvent, request.format().replace("\n", ": "));
    }
    return json::toLine(object(kEvent).set("code", request.getCode()).set("text", request.format()));
}

String fatalError(Form form, const String& text) { return withText(form, "fatal-error", text); }

String end(const SessionEnd& end) {
    json::JSONMutWrapper line = object("end");
    line.set("wanted", end.wanted()).set("kind", name(end.kind)).set("text", describe(end));
    setTexts(line, {{"cause", String(name(end.cause))},
                    {"host", end.host},
                    {"path", end.path},
                    {"key", end.key},
                    {"detail", end.text},
                    {"certificate", end.certificate},
                    {"olderThan", end.olderThan}});
    if (end.peer != nullptr) {
        line.set("peer", peerObject(*end.peer));
    }
    const std::pair<const char*, int> numbers[] = {
        {"httpStatus", end.httpStatus}, {"errno", end.systemError}, {"number", end.number}};
    for (const auto& [key, number] : numbers) {
        if (number != 0) {
            line.set(key, number);
        }
    }
    return json::toLine(line);
}

}  // namespace tessel::eventline
