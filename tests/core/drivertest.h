// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include "apps/nebrixclient/client.h"
#include "libs/base/console.h"
#include "tests/core/recorder.h"
#include "tests/integration/session.h"

namespace tessel::test {

using gateway::ComponentType;
using gateway::Fault;

/// A driver in this process against a gateway in this process, with the recording components and a home of its own.
class DriverTest : public testing::Test {
protected:
    DriverTest() {
        ComponentProcess::useProgram(NEBRIX_TEST_BIN "/nebrix-component-host");
        setenv("NEBRIX_TEST_CALLS", recordedCalls().c_str(), 1);
        setenv("NEBRIX_TEST_STATUS", m_home.data("statuses").c_str(), 1);
    }

    void serve(gateway::GatewayOptions options) {
        m_client.reset();
        m_gateway = std::make_unique<gateway::DemoGateway>(std::move(options));
        m_gateway->start();
        m_home.configure({m_gateway->authority()}, m_settings);
        say(R"([{"code":5,"status":"up"}])");
        m_client = std::make_unique<NebrixClient>(m_notify, String::copy(m_home.data("log")));
        m_client->setAccountListener(&m_notify);
        m_client->setProgress(&m_progress);
    }
    void serve(std::initializer_list<Fault> faults = {}) {
        gateway::GatewayOptions options = nebrix::test::recordingComponents();
        for (const Fault fault : faults) {
            options.faults.add(fault);
        }
        serve(std::move(options));
    }
    /// What the plug-in answers when it is asked for news.
    void say(const std::string& statuses) const { nebrix::test::writeFile(m_home.data("statuses"), statuses + "\n"); }
    /// The link as desktops hand it over.
    [[nodiscard]] String link(ComponentType type) const {
        return String::copy("nebrix" + m_gateway->mediation(type).substr(5));
    }
    void start(ComponentType type) { m_client->run(link(type)); }
    /// A session to its end.
    Lines run(ComponentType type) {
        m_notify.clear();
        start(type);
        EXPECT_TRUE(m_client->join(20000));
        return m_notify.lines();
    }
    /// The tunnel plug-in is on disk then.
    void fetchTunnel() {
        m_notify.clear();
        start(ComponentType::PluginDll);
        ASSERT_TRUE(m_notify.waitFor("vpn up"));
        m_client->stop();
        ASSERT_TRUE(m_client->join(20000));
        m_notify.clear();
    }
    [[nodiscard]] std::string calls() const {
        return std::filesystem::exists(recordedCalls()) ? nebrix::test::readFile(recordedCalls()) : "";
    }
    [[nodiscard]] bool logged(const std::string& text) const {
        Console::current()->flush(5000);
        return nebrix::test::LogFile(m_home.data("log")).contains(text);
    }

    /// Where also a host checker may write.
    [[nodiscard]] std::string recordedCalls() const { return m_home.data("hostchecker/calls"); }

    nebrix::test::PrivateHome m_home;
    std::string m_settings;  // beyond the gateway
    NotifyRecorder m_notify;
    TransferRecorder m_progress;
    std::unique_ptr<gateway::DemoGateway> m_gateway;
    std::unique_ptr<NebrixClient> m_client;
};

}  // namespace tessel::test
