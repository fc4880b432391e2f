#include "apps/nebrixclient-cli/eventline.h"

#include "apps/nebrixclient/account.h"
#include "libs/base/printable.h"
#include "libs/curl/requestinfo.h"
#include "libs/json/jsonmutwrapper.h"

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

}  // namespace

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
    const std::pair<const char*, String> texts[] = {{"cause", String(name(end.cause))},
                                                    {"host", end.host},
                                                    {"path", end.path},
                                                    {"key", end.key},
                                                    {"detail", end.text},
                                                    {"certificate", end.certificate}};
    for (const auto& [key, text] : texts) {
        if (!text.empty()) {
            line.set(key, text);
        }
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
