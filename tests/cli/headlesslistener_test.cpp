// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient-cli/headlesslistener.h"

#include <gtest/gtest.h>

#include "libs/curl/requestinfo.h"

namespace tessel::test {
namespace {

using Lines = std::vector<std::string>;
using eventline::Form;

class HeadlessListenerTest : public testing::Test {
protected:
    /// The lines of these notifications, in this form.
    template <class Notify>
    Lines printed(Form form, bool changesOnly, Notify notify) {
        Lines lines;
        m_told.clear();
        HeadlessListener listener(
            form, changesOnly, [&](const String& line) { lines.emplace_back(line.view()); },
            [this](const String& message) { m_told += message.empty() ? "" : message.str() + std::string("|"); },
            [this] { ++m_ends; });
        notify(listener);
        m_end = listener.end();
        return lines;
    }

    std::string m_told;
    int m_ends = 0;
    std::optional<SessionEnd> m_end;
};

void everything(HeadlessListener& listener) {
    for (const ClientType type : {ClientType::PluginDll, ClientType::HostChecker, ClientType::PluginDllNoTunnel}) {
        listener.onDispatch(type);
    }
    for (int status = 1; status <= 5; ++status) {
        listener.onStatus(static_cast<ClientStatus>(status));
    }
    listener.onVpnStatus("a\nb");
    listener.onVpnStatus("");
    listener.onFatalError("");
    listener.onConnectError(RequestInfo());
}

TEST_F(HeadlessListenerTest, printsEachNotificationAsALine) {
    EXPECT_EQ(printed(Form::Text, false, everything),
              (Lines{"dispatch: tunnel plug-in", "dispatch: host checker", "dispatch: plug-in without tunnel",
                     "status: idle", "status: downloading components", "status: connected", "status: session over",
                     "status: host checking", "vpn: a\\x0ab", "vpn", "fatal-error", "connect-error: Code: 0"}));
    EXPECT_EQ(m_ends, 3) << "each of the three that end a session";
    EXPECT_EQ(printed(Form::Json, false, everything),
              (Lines{R"({"event":"dispatch","name":"tunnel plug-in","type":2})",
                     R"({"event":"dispatch","name":"host checker","type":3})",
                     R"({"event":"dispatch","name":"plug-in without tunnel","type":4})",
                     R"({"event":"status","name":"idle","status":1})",
                     R"({"event":"status","name":"downloading components","status":2})",
                     R"({"event":"status","name":"connected","status":3})",
                     R"({"event":"status","name":"session over","status":4})",
                     R"({"event":"status","name":"host checking","status":5})", R"({"event":"vpn","text":"a\nb"})",
                     R"({"event":"vpn","text":""})", R"({"event":"fatal-error","text":""})",
                     R"({"code":0,"event":"connect-error","text":"Code: 0"})"}));
}

TEST_F(HeadlessListenerTest, leavesOutWhatRepeatsWhenAskedTo) {
    const auto notify = [](HeadlessListener& listener) {
        for (const char* line : {"", "up", "up", "", "", "up"}) {
            listener.onVpnStatus(line);
        }
    };
    EXPECT_EQ(printed(Form::Text, true, notify), (Lines{"vpn", "vpn: up", "vpn", "vpn: up"}));
    EXPECT_EQ(printed(Form::Text, false, notify).size(), 6U);
}

TEST_F(HeadlessListenerTest, tellsTheServiceManagerWhenTheSessionDoesItsWork) {
    printed(Form::Text, false, [](HeadlessListener& listener) {
        for (const char* line : {"connecting", "", "connected ip=1", "connected ip=1", "failed"}) {
            listener.onVpnStatus(line);
        }
    });
    EXPECT_EQ(m_told, "STATUS=connecting\n|READY=1\nSTATUS=connected ip=1\n|STATUS=failed\n|");
    for (const ClientStatus status : {ClientStatus::HostChecking, ClientStatus::SessionOver}) {
        printed(Form::Text, false, [status](HeadlessListener& listener) {
            listener.onSessionEnd({.kind = EndKind::Component});
            listener.onStatus(status);
            listener.onFatalError("");
        });
        EXPECT_TRUE(m_told.starts_with("READY=1\n") && m_told.ends_with("\n|STOPPING=1\n|")) << m_told;
        EXPECT_EQ(m_told.find("\nSTOPPING"), std::string::npos) << "systemd would not see READY: " << m_told;
    }
    printed(Form::Text, false, [](HeadlessListener& listener) {
        listener.onSessionEnd({.kind = EndKind::Component, .cause = EndCause::AskedAtOnce});
        listener.onStatus(ClientStatus::SessionOver);
    });
    EXPECT_TRUE(m_told.starts_with("STATUS=")) << "it ends with 1: " << m_told;
}

TEST_F(HeadlessListenerTest, keepsTheAccountForTheEnd) {
    const auto notify = [](HeadlessListener& listener) {
        listener.onSessionEnd({.kind = EndKind::Refused, .host = "gw:1", .httpStatus = 403, .text = "no"});
        EXPECT_FALSE(listener.end().has_value());
        listener.onFatalError("");
    };
    EXPECT_EQ(printed(Form::Text, false, notify), Lines{"fatal-error"});
    ASSERT_TRUE(m_end.has_value());
    EXPECT_EQ(m_end->host, "gw:1");
    EXPECT_EQ(printed(Form::Json, false, notify).front(),
              R"({"detail":"no","event":"end","host":"gw:1","httpStatus":403,"kind":"refused",)"
              R"("text":"the gateway gw:1 refused the session: \"no\"","wanted":false})");
}

TEST_F(HeadlessListenerTest, exitsWith0ForAnEndThatSomebodyWanted) {
    const std::tuple<EndKind, EndCause, int> cases[] = {
        {EndKind::User, EndCause::None, 0},           {EndKind::Component, EndCause::AskedAgain, 0},
        {EndKind::Gateway, EndCause::None, 0},        {EndKind::Unreachable, EndCause::None, 3},
        {EndKind::Certificate, EndCause::Expired, 3}, {EndKind::Component, EndCause::AskedAtOnce, 1},
        {EndKind::PostLost, EndCause::Address, 1},    {EndKind::PostLost, EndCause::Name, 3},
        {EndKind::PostLost, EndCause::Cut, 3},        {EndKind::PostLost, EndCause::TooLarge, 1}};
    for (const auto& [kind, cause, code] : cases) {
        EXPECT_EQ(static_cast<int>(exitCodeOf({.kind = kind, .cause = cause})), code) << name(kind) << name(cause);
    }
}

}  // namespace
}  // namespace tessel::test
