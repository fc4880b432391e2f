// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>

#include <cstring>

#include "tests/sdk/enginetest.h"
#include "tests/support/temporarydirectory.h"

extern "C" {
#include "sdk/components/tunnel/engine_openvpn.h"
}

namespace nebrix::test {
namespace {

/// The engine with a stand-in for openvpn.
class OpenvpnEngine : public EngineTest {
protected:
    /// Starts it with a program that does these steps.
    void play(const std::string& steps) {
        const std::string program = m_directory.write("openvpn", "#!/usr/bin/python3 " OPENVPN_STANDIN "\n" + steps);
        ::chmod(program.c_str(), 0700);
        start([this, program](const engine_listener* listener) {
            const openvpn_machine machine{program.c_str(), nullptr};
            return openvpn_engine_run(&machine, &m_parameters, listener, &m_wishes);
        });
    }

    TemporaryDirectory m_directory;
};

constexpr auto kConnected =
    "expect username \"Auth\" \"al\\\"ice\"\nexpect password \"Auth\" \"\\\\ticket-secret\"\n"
    ">STATE:1,WAIT,,,,,,\n>STATE:1,SOMETHING_NEW,,,,,,\n>STATE:1,AUTH,,,,,,\n>STATE:1,ASSIGN_IP,,10.8.0.2,,,,\n"
    ">UPDOWN:UP\n>UPDOWN:ENV,dev=tun0\n>UPDOWN:ENV,foreign_option_1=dhcp-option DNS 10.77.0.1\n>UPDOWN:ENV,END\n"
    ">STATE:1,CONNECTED,SUCCESS,10.8.0.2,192.0.2.7,1194,,\n";

TEST_F(OpenvpnEngine, reportsEachChangeOnceInOrder) {
    play(std::string(">PASSWORD:Need 'Auth' username/password\n") + kConnected +
         "expect signal SIGUSR1\n>STATE:1,RECONNECTING,SIGUSR1,,,,,\n>STATE:2,WAIT,,,,,,\n>STATE:2,AUTH,,,,,,\n"
         ">STATE:2,CONNECTED,ROUTE_ERROR,,192.0.2.7,1194,,,fd00::2\n");
    const std::string told = "init, authenticating, getconfig, connected ip=10.8.0.2";
    EXPECT_EQ(toldUntil(told), told);
    engine_wishes_put(&m_wishes, kEngineReconnect);
    toldUntil(told + ", reconnecting, connected ip=fd00::2");
    EXPECT_LT(stop(), 500ms);
    EXPECT_EQ(m_seen,
              "init, authenticating, getconfig, interface: tun0, not set, for want of the package systemd-resolved or "
              "resolvconf: nameserver 10.77.0.1;, connected ip=10.8.0.2, openvpn starts over: SIGUSR1, reconnecting, "
              "connected, but not all of it could be set up: ROUTE_ERROR, connected ip=fd00::2, ended");
}

TEST_F(OpenvpnEngine, endsWithTheReasonAndInWords) {
    const std::string auth = ">STATE:1,AUTH,,,,,,\n";
    const std::string refused = "authError, close 3, ended";
    const std::string over = "close 4, ended";
    const std::string unreadable = "openvpn's management interface says what cannot be read, " + over;
    const std::string noLine = "openvpn's management interface says what is no line, " + over;
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"print Options error: no\nexit", "openvpn: Options error: no, openvpn ended before it began, " + over},
        {">STATE:1,WAIT,,,,,,\ncut >STATE:1,CONN\nexit", "init, openvpn ended without a word, " + over},
        {"tell\n>FATAL:so", "openvpn: 0 1 2 3 4 5 PATH, openvpn gives up: so, " + over},
        {"stranger\n>FATAL:so",
         "another process than openvpn came to its management interface, openvpn gives up: so, " + over},
        {">LOG:1,W," + std::string(1 << 16, 'x'), noLine},
        {">LOG:1,W,a\\0b", noLine},
        {">STATE:x,CONNECTED,,,,,,", unreadable},
        {">STATE:1", unreadable},
        {">LOG:1", unreadable},
        {">PASSWORD:Need Auth", unreadable},
        {">UPDOWN:SIDEWAYS", unreadable},
        {">PASSWORD:Need 'Token' password", "openvpn asks for what it is not given: Token, " + over},
        {">PASSWORD:Need 'HTTP Proxy' username/password", "openvpn asks for what it is not given: HTTP Proxy, " + over},
        {">NEED-OK:Need 'it' confirmation MSG:no", "openvpn asks for what it is not given: NEED-OK, " + over},
        {">LOG:1,N,twice\n>LOG:1,N,twice\n>LOG:1,N,read from TUN/TAP : File descriptor in bad state (fd=-1)",
         "openvpn: twice, the tunnel's interface was taken away: read from TUN/TAP : File descriptor in bad state "
         "(fd=-1), " +
             over},
        {">STATE:1,EXITING,tls-error,,,,,", "openvpn ends: tls-error, " + over},
        {">LOG:1,W,\\ticket-secret and\n>LOG:1,N,SESSION-1\n>LOG:1,I,said\n>FATAL:pkcs-secret",
         "openvpn: (a text with a secret in it), openvpn: (a text with a secret in it), "
         "openvpn gives up: (a text with a secret in it), " +
             over},
        {auth + ">PASSWORD:Verification Failed: 'Auth' ['locked']\n>STATE:1,EXITING,auth-failure,,,,,",
         "authenticating, the server refuses login and ticket ['locked'], " + refused},
        {auth + ">LOG:1,,VERIFY OK: depth=0, CN=a\n>STATE:1,RECONNECTING,connection-reset,,,,,",
         "authenticating, openvpn starts over: connection-reset, the server does not go on after it saw the client "
         "certificate: it refuses that, most likely, " +
             refused},
        {auth + ">LOG:1,N,VERIFY ERROR: depth=1, error=no",
         "authenticating, the server's certificate is refused: VERIFY ERROR: depth=1, error=no, " + refused},
        {">LOG:1,W,WARNING: Your certificate has expired!",
         "the client certificate is of no use: Your certificate has expired!, " + refused},
        {">FATAL:Error: private key password verification failed",
         "the client certificate cannot be opened with its password, or does not fit its key, " + refused}};
    for (const auto& [steps, end] : cases) {
        play(steps + "\nhang");
        toldUntil("ended");
        stop();
        EXPECT_EQ(m_seen, end) << steps;
    }
}

TEST_F(OpenvpnEngine, triesTheAcceptedNamesInTurn) {
    accept({"a.example", "b.example"});
    play("bears b.example\n>STATE:1,AUTH,,,,,,\n>STATE:1,CONNECTED,SUCCESS,,,,,");
    toldUntil("authenticating, connected");
    stop();
    EXPECT_EQ(m_seen,
              "the server's certificate is another's: CN=b.example, must be a.example, authenticating, "
              "connected, ended");
    play("bears c.example\n");
    toldUntil("ended");
    EXPECT_TRUE(
        m_seen.ends_with(", the server's certificate bears none of the accepted names, authError, close 3, ended"))
        << m_seen;
}

TEST_F(OpenvpnEngine, endsAProgramThatWouldNotEnd) {
    play("deaf\npid\n>STATE:1,AUTH,,,,,,\nhang");
    toldUntil("authenticating");
    EXPECT_LT(stop(), 1s);
    EXPECT_EQ(::kill(std::stoi(m_seen.substr(std::strlen("openvpn: "))), 0), -1) << m_seen;
}

TEST_F(OpenvpnEngine, keepsSecretsOutOfTheArguments) {
    const std::string longTicket(1200, 't');
    const std::string quoted = "setenv UV_ORGANIZATION \"Org\"\nsetenv UV_SESSION \"S\\\"\\\\ 1\"\n";
    openvpn_command command;
    const auto build = [&](const char* name) {
        const char* const wrong = openvpn_command_build(&command, &m_parameters, "/openvpn", "/socket", name);
        return std::string(wrong == nullptr ? "" : wrong);
    };
    m_parameters.session_id = "S\"\\ 1";
    EXPECT_EQ(build("a.example"), "");
    EXPECT_EQ(std::string(command.input, command.input_size), quoted);
    for (const char* const* word = command.arguments; *word != nullptr; ++word)
        EXPECT_EQ(std::string(*word).find_first_of("\"\\"), std::string::npos) << *word;

    m_parameters.ticket = longTicket.c_str();
    EXPECT_EQ(build(nullptr), "");
    EXPECT_EQ(command.input, "<auth-user-pass>\nal\"ice\n" + longTicket + "\n</auth-user-pass>\n" + quoted);
    EXPECT_FALSE(command.asks_login);

    m_parameters.session_id = "S\nscript-security 3";
    EXPECT_EQ(build(nullptr), "");
    EXPECT_STREQ(command.left_out, "session id");
    EXPECT_EQ(std::strstr(command.input, "script"), nullptr);
    EXPECT_NE(build("--up"), "");
    m_parameters.ticket = "t\n</auth-user-pass>\nup /bin/sh";
    EXPECT_NE(build(nullptr), "");
}

TEST(OpenvpnNameServers, areAddressesInTheServersOrderAndPlainDomains) {
    name_servers servers;
    char text[kNameServerTextSize];
    name_servers_clear(&servers);
    const std::vector<std::string> pushed = {
        "dhcp-option DOMAIN lab.example", "dhcp-option DNS 10.0.0.2", "dhcp-option DNS 10.0.0.1\noptions",
        "dhcp-option DNS6 fd00::1",       "dhcp-option DOMAIN a b",   "dhcp-option DOMAIN-SEARCH x.example"};
    for (std::size_t i = pushed.size(); i > 0; --i)  // as openvpn tells them
        name_servers_note(&servers, ("foreign_option_" + std::to_string(i)).c_str(), pushed[i - 1].c_str());
    name_servers_note(&servers, "foreign_option_999", "dhcp-option DNS 10.0.0.9");
    name_servers_note(&servers, "dev", "-d");
    name_servers_text(&servers, text);
    EXPECT_STREQ(text, "nameserver 10.0.0.2\nnameserver fd00::1\nsearch lab.example x.example\n");
    EXPECT_STREQ(servers.device, "");
}

}  // namespace
}  // namespace nebrix::test
