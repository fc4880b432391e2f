// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <systemd/sd-bus.h>

#include <atomic>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/childprocess.h"

namespace nebrix::test {

/// NetworkManager as far as a tunnel needs it, played on a thread of its own, on a bus of its own, which
/// DBUS_SYSTEM_BUS_ADDRESS names while it lives.
///
/// With an empty play it does not run. The play has one part for each connection that is activated, parted by "|", of
/// words:
///   5, 6:9         the connection takes the VPN state 5; the state 6 for the reason 9
///   other:6        the same said of a connection of somebody else
///   text           a state that is a text
///   read           waits until the tunnel's address has been asked for
///   secrets        asks the caller's agent for its secrets; again: with a hint; foreign: for another connection;
///                  stranger: as somebody else
/// and faults are "MEMBER=error", "MEMBER=silence", "MEMBER=text" (an answer of another type) for a method, or for a
/// property that is asked for.
class NetworkManager {
public:
    NetworkManager(const std::string& play, const std::vector<std::string>& faults);
    ~NetworkManager();
    NetworkManager(const NetworkManager&) = delete;
    NetworkManager& operator=(const NetworkManager&) = delete;

    /// All that was asked and answered: the members called, with the messages' contents where they matter.
    [[nodiscard]] std::string heard();

private:
    static int onMessage(sd_bus_message* message, void* self, sd_bus_error* error);
    static int onSecrets(sd_bus_message* message, void* self, sd_bus_error* error);
    int answer(sd_bus_message* call);
    int answerProperty(sd_bus_message* call, const std::string& name);
    void activate(sd_bus_message* call);
    void perform();
    void say(const std::string& path, unsigned state, unsigned reason);
    void performState(const std::string& word);
    void askSecrets(const std::string& word);
    void hear(const std::string& line);
    void run();

    ChildProcess m_daemon{{"dbus-daemon", "--session", "--nofork", "--nopidfile", "--print-address=1"}};
    std::vector<std::string> m_parts;   ///< constant
    std::vector<std::string> m_faults;  ///< constant
    sd_bus* m_bus = nullptr;            ///< the thread's, once that runs
    sd_bus* m_stranger = nullptr;       ///< likewise
    std::deque<std::string> m_words;    ///< the thread's: what is left of the part
    std::string m_client;               ///< the thread's: who activated last
    std::string m_uuid;                 ///< the thread's: of the connection that was activated last
    unsigned m_state = 0;               ///< the thread's: of that connection
    bool m_waiting = false;             ///< the thread's: for an address to be read
    std::size_t m_activated = 0;        ///< the thread's
    std::mutex m_mutex;
    std::string m_heard;  ///< guarded by m_mutex
    std::atomic<bool> m_stopping = false;
    std::thread m_thread;
};

}  // namespace nebrix::test
