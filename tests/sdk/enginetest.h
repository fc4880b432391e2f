// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

extern "C" {
#include "sdk/components/tunnel/engine.h"
#include "sdk/components/tunnel/wishes.h"
}

namespace nebrix::test {

using namespace std::chrono_literals;

/// An engine of the tunnel plug-in on a thread of its own, as the plug-in runs it. What it tells is words parted by
/// ", ": states without repetitions, "close 4", and "ended" or "unavailable" at its end.
class EngineTest : public ::testing::Test {
protected:
    EngineTest() { engine_wishes_init(&m_wishes); }
    ~EngineTest() override { ::close(engine_wishes_descriptor(&m_wishes)); }
    void TearDown() override { stop(); }

    /// Starts it; `run` is given the listener.
    template <class Run>
    void start(Run run) {
        m_told.clear();
        m_seen.clear();
        m_thread = std::thread([this, run] {
            sigset_t all;
            ::sigfillset(&all);
            ::pthread_sigmask(SIG_SETMASK, &all, nullptr);
            const engine_listener listener{this, onReport, onClose, onLog};
            tell(run(&listener) == kEngineEnded ? "ended" : "unavailable");
        });
    }
    /// Waits until all of this was told, or the engine is through, and gives back what was told.
    std::string toldUntil(const std::string& told) {
        std::unique_lock lock(m_mutex);
        m_news.wait_for(lock, 20s,
                        [&] { return m_told == told || m_told.ends_with("ended") || m_told.ends_with("unavailable"); });
        return m_told;
    }
    /// Stops it, and says how long that took.
    std::chrono::steady_clock::duration stop() {
        const auto begin = std::chrono::steady_clock::now();
        engine_wishes_put(&m_wishes, kEngineStop);
        if (m_thread.joinable())
            m_thread.join();
        engine_wishes_reset(&m_wishes);
        return std::chrono::steady_clock::now() - begin;
    }
    void accept(const std::vector<const char*>& names) {
        m_names = names;
        m_parameters.server_names = m_names.data();
        m_parameters.server_name_count = m_names.size();
    }

    tunnel_server m_server{"2001:db8::1", AF_INET6, 443, true};
    std::vector<const char*> m_names{"vpn.example"};
    engine_parameters m_parameters{.server = &m_server,
                                   .proxy = nullptr,
                                   .hostname = "gateway",
                                   .login = "al\"ice",
                                   .organization = "Org",
                                   .ticket = "\\ticket-secret",
                                   .session_id = "SESSION-1",
                                   .cert_path = "/client.p12",
                                   .cert_kind = kCertificatePkcs12,
                                   .ca_path = "/ca.pem",
                                   .ca_kind = kCertificatePem,
                                   .cert_password = "pkcs-secret",
                                   .server_names = m_names.data(),
                                   .server_name_count = m_names.size(),
                                   .directory = "",
                                   .step_ms = 1};
    engine_wishes m_wishes{};
    std::mutex m_mutex;
    std::string m_told;  ///< guarded by m_mutex while the engine runs
    std::string m_seen;  ///< likewise: with the lines of the log

private:
    static EngineTest& self(void* context) { return *static_cast<EngineTest*>(context); }
    static void onReport(void* context, const char* status) { self(context).tell(status); }
    static void onClose(void* context, int reason) { self(context).tell("close " + std::to_string(reason)); }
    static void onLog(void* context, const char* text, const char* value) {
        const std::lock_guard lock(self(context).m_mutex);
        append(self(context).m_seen, text + std::string(value));
    }
    static void append(std::string& list, const std::string& word) { list += (list.empty() ? "" : ", ") + word; }
    void tell(const std::string& word) {
        const std::lock_guard lock(m_mutex);
        append(m_seen, word);
        if (!m_told.ends_with(word))
            append(m_told, word);
        m_news.notify_all();
    }

    std::condition_variable m_news;
    std::thread m_thread;
};

}  // namespace nebrix::test
