// SPDX-License-Identifier: Apache-2.0
#include "tests/sdk/networkmanager.h"

#include <algorithm>

#include "tests/sdk/component.h"

namespace nebrix::test {
namespace {

constexpr const char* kConnection = "org.freedesktop.NetworkManager.VPN.Connection";
constexpr const char* kName = "org.freedesktop.NetworkManager";
const std::string kActive = "/org/freedesktop/NetworkManager/ActiveConnection/";

std::string contentsOf(sd_bus_message* message) {
    char* text = nullptr;
    std::size_t size = 0;
    FILE* const stream = ::open_memstream(&text, &size);
    sd_bus_message_dump(message, stream, 0);
    std::fclose(stream);
    std::string contents(text, size);
    std::free(text);  // NOLINT(cppcoreguidelines-no-malloc): open_memstream's
    sd_bus_message_rewind(message, 1);
    return contents;
}

}  // namespace

NetworkManager::NetworkManager(const std::string& play, const std::vector<std::string>& faults)
    : m_parts(split(play, '|')), m_faults(faults) {
    ::setenv("SYSTEMD_COLORS", "0", 1);  // in what is written of a message
    if (!m_daemon.waitForOutput("\n"))
        throw std::runtime_error(m_daemon.errors());
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", split(m_daemon.output(), '\n')[0].c_str(), 1);
    if (sd_bus_open_system(&m_bus) < 0 || sd_bus_open_system(&m_stranger) < 0 ||
        sd_bus_add_filter(m_bus, nullptr, onMessage, this) < 0 ||
        (!play.empty() && sd_bus_request_name(m_bus, kName, 0) < 0))
        throw std::runtime_error("no bus");
    m_thread = std::thread(&NetworkManager::run, this);
}

NetworkManager::~NetworkManager() {
    ::unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
    m_stopping = true;
    m_thread.join();
    sd_bus_flush_close_unref(m_bus);
    sd_bus_flush_close_unref(m_stranger);
}

void NetworkManager::run() {
    while (!m_stopping) {
        if (sd_bus_process(m_bus, nullptr) == 0 && sd_bus_process(m_stranger, nullptr) == 0)
            sd_bus_wait(m_bus, 20000);
    }
}

std::string NetworkManager::heard() {
    const std::lock_guard lock(m_mutex);
    return m_heard;
}

void NetworkManager::hear(const std::string& line) {
    const std::lock_guard lock(m_mutex);
    m_heard += line + "\n";
}

int NetworkManager::onMessage(sd_bus_message* message, void* self, sd_bus_error* /*error*/) {
    return sd_bus_message_is_method_call(message, nullptr, nullptr) > 0
               ? static_cast<NetworkManager*>(self)->answer(message)
               : 0;
}

int NetworkManager::answer(sd_bus_message* call) {
    std::string member = sd_bus_message_get_member(call);
    if (member == "Get") {
        const char* property = nullptr;
        sd_bus_message_read(call, "ss", nullptr, &property);
        member = property;
    }
    const auto fails = [&](const char* how) { return std::ranges::count(m_faults, member + how) != 0; };
    if (fails("=error"))
        return sd_bus_reply_method_errorf(call, (std::string(kName) + ".PermissionDenied").c_str(), "as told");
    if (fails("=text"))
        return sd_bus_reply_method_return(call, "s", "text");
    if (fails("=silence"))
        return 1;
    if (sd_bus_message_is_method_call(call, "org.freedesktop.DBus.Properties", "Get") > 0)
        return answerProperty(call, member);
    hear(member + " " + sd_bus_message_get_path(call));
    if (member == "AddAndActivateConnection2")
        activate(call);
    else
        sd_bus_reply_method_return(call, "");
    if (member == "DeactivateConnection") {
        const char* path = nullptr;
        sd_bus_message_read(call, "o", &path);
        say(path, 7, 2);
    }
    return 1;
}

int NetworkManager::answerProperty(sd_bus_message* call, const std::string& name) {
    if (name == "VpnState")
        return sd_bus_reply_method_return(call, "v", "u", m_state);
    if (name == "AddressData")
        return sd_bus_reply_method_return(call, "v", "aa{sv}", 2, 1, "prefix", "u", 24U, 2, "prefix", "u", 24U,
                                          "address", "s", "10.8.0.2");
    if (name == "RouteData") {
        sd_bus_reply_method_return(call, "v", "aa{sv}", 1, 2, "dest", "s", "10.77.0.1", "next-hop", "s", "10.8.0.1");
        m_waiting = false;
        perform();
        return 1;
    }
    const bool none = std::ranges::count(m_faults, name + "=none") != 0;
    return sd_bus_reply_method_return(call, "v", "o",
                                      none ? "/" : ("/org/freedesktop/NetworkManager/" + name + "/1").c_str());
}

void NetworkManager::activate(sd_bus_message* call) {
    const std::string contents = contentsOf(call);
    hear(contents);
    m_client = sd_bus_message_get_sender(call);
    m_uuid = contents.substr(contents.find("STRING \"uuid\""));
    m_uuid = split(m_uuid, '"').at(5);
    const std::string path = kActive + std::to_string(++m_activated);
    sd_bus_reply_method_return(call, "ooa{sv}", "/profile", path.c_str(), 0);
    const std::string part = m_activated <= m_parts.size() ? m_parts[m_activated - 1] : "";
    m_words.clear();
    m_waiting = false;
    m_state = 1;
    for (const std::string& word : split(part, ' '))
        m_words.push_back(word);
    perform();
}

void NetworkManager::perform() {
    while (!m_words.empty() && !m_waiting) {
        const std::string word = m_words.front();
        m_words.pop_front();
        if (word == "read")
            m_waiting = true;
        else if (word == "secrets" || word == "again" || word == "foreign" || word == "stranger")
            return askSecrets(word);
        else if (!word.empty())
            performState(word);
    }
}

void NetworkManager::say(const std::string& path, unsigned state, unsigned reason) {
    sd_bus_emit_signal(m_bus, path.c_str(), kConnection, "VpnStateChanged", "uu", state, reason);
}

void NetworkManager::performState(const std::string& word) {
    const bool other = word.starts_with("other:");
    const std::vector<std::string> numbers = split(other ? word.substr(6) : word, ':');
    const std::string path = kActive + (other ? "99" : std::to_string(m_activated));
    if (word == "text") {
        sd_bus_emit_signal(m_bus, path.c_str(), kConnection, "VpnStateChanged", "s", "activated");
        return;
    }
    const auto state = static_cast<unsigned>(std::stoul(numbers[0]));
    const auto reason = numbers.size() < 2 ? 1U : static_cast<unsigned>(std::stoul(numbers[1]));
    m_state = other ? m_state : state;
    say(path, state, reason);
}

void NetworkManager::askSecrets(const std::string& word) {
    sd_bus_message* call = nullptr;
    sd_bus* const bus = word == "stranger" ? m_stranger : m_bus;
    sd_bus_message_new_method_call(bus, &call, m_client.c_str(), "/org/freedesktop/NetworkManager/SecretAgent",
                                   "org.freedesktop.NetworkManager.SecretAgent", "GetSecrets");
    const std::string uuid = word == "foreign" ? "00000000-0000-4000-8000-000000000000" : m_uuid;
    sd_bus_message_append(call, "a{sa{sv}}os", 2, "vpn", 0, "connection", 2, "autoconnect", "b", 0, "uuid", "s",
                          uuid.c_str(), "/profile", "vpn");
    sd_bus_message_append(call, "as", word == "again" ? 1 : 0, "password");
    sd_bus_message_append(call, "u", 4U);
    sd_bus_call_async(bus, nullptr, call, onSecrets, this, 0);
    sd_bus_message_unref(call);
}

int NetworkManager::onSecrets(sd_bus_message* message, void* self, sd_bus_error* /*error*/) {
    auto& manager = *static_cast<NetworkManager*>(self);
    const sd_bus_error* const failure = sd_bus_message_get_error(message);
    if (failure == nullptr)
        manager.hear("secrets\n" + contentsOf(message));
    else
        manager.hear(std::string("refusal ") + failure->name);
    manager.perform();
    return 0;
}

}  // namespace nebrix::test
