// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-component-probe/values.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <random>
#include <sstream>
#include <utility>

namespace tessel::probe {

namespace {

/// Each has a text that no other process of this machine has, since their arguments are looked at.
struct Secret {
    const char* name;
    std::string text;
};
constexpr std::size_t kShortestSecret = 8;
enum SecretIndex { kTicket, kSessionId, kCertPassword, kProxyPassword };

GivenValues& given() {
    static auto* const values = new GivenValues;
    return *values;
}

/// Where the text of a key goes. "sslservercertname" is a list and stands for itself.
struct Slot {
    std::string_view key;
    String& (*of)(Values& values);
};
constexpr std::string_view kServerNames = "sslservercertname";
constexpr Slot kSlots[] = {
    {"orgname", [](Values& values) -> String& { return values.parameters.organization; }},
    {"clientid", [](Values& values) -> String& { return values.parameters.suffix; }},
    {"hostname", [](Values& values) -> String& { return values.parameters.hostname; }},
    {"server", [](Values& values) -> String& { return values.parameters.server; }},
    {"login", [](Values& values) -> String& { return values.parameters.login; }},
    {"ticket", [](Values& values) -> String& { return values.parameters.ticket; }},
    {"sessionid", [](Values& values) -> String& { return values.parameters.sessionId; }},
    {"certificates", [](Values& values) -> String& { return values.parameters.certDirectory; }},
    {"cert", [](Values& values) -> String& { return values.parameters.certFileName; }},
    {"ca", [](Values& values) -> String& { return values.parameters.caFileName; }},
    {"certPassword", [](Values& values) -> String& { return values.parameters.certPassword; }},
    {"service", [](Values& values) -> String& { return values.resource; }},
    {"language", [](Values& values) -> String& { return values.language; }},
    {"hostcheckingrequest", [](Values& values) -> String& { return values.request; }},
};

/// A text that was given, or the one that is made up.
std::string givenOr(const std::string& key, std::string other) {
    const auto found = given().find(key);
    return found == given().end() ? std::move(other) : found->second;
}

void putGiven(Values& values) {
    for (const Slot& slot : kSlots) {
        if (const auto found = given().find(std::string(slot.key)); found != given().end()) {
            slot.of(values) = String::copy(found->second);
        }
    }
    if (const auto found = given().find(std::string(kServerNames)); found != given().end()) {
        values.parameters.sslServerNames = {};
        std::istringstream names(found->second);
        for (std::string name; std::getline(names, name);) {
            values.parameters.sslServerNames.push_back(String::copy(name));
        }
    }
}

std::string freshText(const char* prefix) {
    std::random_device random;
    std::ostringstream text;
    text << prefix << std::hex << std::setfill('0');
    for (int i = 0; i < 4; ++i) {
        text << std::setw(8) << random();
    }
    return text.str();
}

const std::vector<Secret>& secrets() {
    static const auto* const made =
        new std::vector<Secret>{{"the ticket", givenOr("ticket", freshText("ticket-"))},
                                {"the session id", givenOr("sessionid", freshText("session-"))},
                                {"the certificate's password", givenOr("certPassword", freshText("password-"))},
                                {"the proxy's password", freshText("password-")}};
    return *made;
}

String secret(SecretIndex which) { return String::copy(secrets()[which].text); }

String repeated(const char* piece, unsigned count) {
    std::string text;
    for (unsigned i = 0; i < count; ++i) {
        text += piece;
    }
    return String::copy(text);
}

String everyByte() {
    std::string text;
    for (int byte = 1; byte <= 0xFF; ++byte) {
        text += static_cast<char>(byte);
    }
    return String::copy(text);
}

bool isProcess(const std::string& name) {
    return std::all_of(name.begin(), name.end(), [](unsigned char c) { return std::isdigit(c) != 0; });
}

/// As much as can be read: the process that a file tells of may end meanwhile, which is no fault of anybody's.
std::string contentOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();  // unlike the iterators of the buffer it raises nothing
    return content.str();
}

}  // namespace

bool isGivenKey(std::string_view key) noexcept {
    return key == kServerNames ||
           std::any_of(std::begin(kSlots), std::end(kSlots), [&](const Slot& slot) { return slot.key == key; });
}

void give(GivenValues values) {
    if (const auto folder = values.find("certificates"); folder != values.end()) {
        folder->second = std::filesystem::absolute(std::filesystem::path(folder->second) / "").parent_path().string();
    }
    given() = std::move(values);
}

std::vector<String*> Values::fromGateway() {
    PluginDllInstance::Parameters& to = parameters;
    std::vector<String*> texts{&version,         &to.login,  &to.organization, &to.hostname,     &to.server,
                               &to.suffix,       &to.ticket, &to.sessionId,    &to.certFileName, &to.caFileName,
                               &to.certPassword, &command,   &resource,        &language,        &request};
    for (String& name : to.sslServerNames) {
        texts.push_back(&name);
    }
    return texts;
}

Values ordinaryValues(const String& directory) {
    Values values;
    values.version = "1.0.0";
    values.directory = directory;
    values.proxy =
        Proxy(Proxy::Type::Http, "127.0.0.1:9", Credentials("proxy-login", secret(kProxyPassword), "domain"));
    values.parameters.login = "login";
    values.parameters.organization = "organization";
    values.parameters.hostname = "gateway.example";
    values.parameters.server = "127.0.0.1:9/tcp";
    values.parameters.suffix = "client-identifier";
    values.parameters.ticket = secret(kTicket);
    values.parameters.sessionId = secret(kSessionId);
    values.parameters.certDirectory = directory + "PKIs";
    values.parameters.certPassword = secret(kCertPassword);
    values.parameters.sslServerNames = {"gateway.example", "other.example"};
    values.command = "nebrix-check";
    values.resource = "resource.txt";
    values.language = "en";
    values.request = "rule file /\n";
    putGiven(values);
    return values;
}

Values valuesOf(const Values& ordinary, const String& text) {
    Values values = ordinary;
    for (String* const each : values.fromGateway()) {
        *each = text;
    }
    values.proxy = Proxy(Proxy::Type::Http, text, Credentials(text, text, text));
    return values;
}

std::vector<HostileText> hostileTexts() {
    constexpr unsigned kMany = 1024;
    constexpr unsigned kMebibyte = 1024 * 1024;
    return {{"empty texts", ""},
            {"texts of 1 MiB", repeated("A", kMebibyte)},
            {"texts of every byte", everyByte()},
            {"texts that are no UTF-8", "\xC3\x28\xF0\x9F\xFF\xFE\xED\xA0\x80"},
            {"texts of quotes and backslashes", repeated("\"\\'`$(", kMany)},
            {"texts of line breaks", repeated("line\r\n\t\n", kMany)},
            {"texts of percent signs", repeated("%s%n%x%p", kMany)},
            {"texts of separators", repeated("|;,=&#", kMany)},
            {"texts that lead out of a directory", repeated("../", kMany)}};
}

const char* secretIn(std::string_view text) {
    for (const Secret& secret : secrets()) {
        if (secret.text.size() >= kShortestSecret && text.find(secret.text) != std::string_view::npos) {
            return secret.name;
        }
    }
    return nullptr;
}

const char* secretInNames(const std::string& directory) {
    std::error_code error;
    for (std::filesystem::recursive_directory_iterator at(directory, error), end; !error && at != end;
         at.increment(error)) {
        if (const char* const secret = secretIn(at->path().filename().string())) {
            return secret;
        }
    }
    return nullptr;
}

const char* secretInArguments() {
    std::error_code error;
    for (std::filesystem::directory_iterator at("/proc", error), end; !error && at != end; at.increment(error)) {
        if (!isProcess(at->path().filename().string())) {
            continue;
        }
        if (const char* const secret = secretIn(contentOf(at->path() / "cmdline"))) {
            return secret;
        }
    }
    return nullptr;
}

}  // namespace tessel::probe
