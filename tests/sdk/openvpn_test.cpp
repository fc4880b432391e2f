#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstring>
#include <fstream>
#include <mutex>
#include <thread>

#include "tests/sdk/component.h"
#include "tests/support/temporarydirectory.h"

extern "C" {
#include "sdk/components/tunnel/engine_openvpn.h"
#include "sdk/components/tunnel/wishes.h"
}

namespace nebrix::test {
namespace {

using Words = std::vector<std::string>;
using namespace std::chrono_literals;

/// The engine on a thread of its own, with a stand-in for openvpn and everything it says.
class OpenvpnEngine : public ::testing::Test {
protected:
    OpenvpnEngine() {
        engine_wishes_init(&m_wishes);
        std::strcpy(m_server.host, "192.0.2.7");
        m_server.family = AF_INET;
        m_server.port = 1194;
        m_parameters = {.server = &m_server,
                        .proxy = nullptr,
                        .hostname = "gateway",
                        .login = "al\"ice",
                        .organization = "Org",
                        .ticket = "ticket\\77",
                        .session_id = "SESSION-1",
                        .cert_path = "/client.p12",
                        .cert_kind = kCertificatePkcs12,
                        .ca_path = "/ca.pem",
                        .ca_kind = kCertificatePem,
                        .cert_password = "p12secret",
                        .server_names = m_names,
                        .server_name_count = 0,
                        .directory = "",
                        .step_ms = 1};
    }
    ~OpenvpnEngine() override {
        stop();
        ::close(engine_wishes_descriptor(&m_wishes));
    }

    /// Makes the program that does these steps.
    void perform(const std::string& steps) {
        m_program = m_directory.write("openvpn", "#!/usr/bin/python3 " OPENVPN_STANDIN "\n" + steps);
        ::chmod(m_program.c_str(), 0700);
        m_machine = {m_program.c_str(), nullptr};
        m_seen.clear();
    }
    void run() { openvpn_engine_run(&m_machine, &m_parameters, &m_listener, &m_wishes); }
    void start(const std::string& steps) {
        perform(steps);
        m_thread = std::thread([this] {
            sigset_t all;
            ::sigfillset(&all);
            ::pthread_sigmask(SIG_SETMASK, &all, nullptr);
            run();
            say("ended");
        });
    }
    std::chrono::steady_clock::duration stop() {
        const auto begin = std::chrono::steady_clock::now();
        engine_wishes_put(&m_wishes, kEngineStop);
        if (m_thread.joinable())
            m_thread.join();
        engine_wishes_reset(&m_wishes);
        return std::chrono::steady_clock::now() - begin;
    }
    void waitFor(const std::string& word) {
        std::unique_lock lock(m_mutex);
        const bool came = m_changed.wait_for(
            lock, 20s, [&] { return std::find(m_seen.begin(), m_seen.end(), word) != m_seen.end(); });
        EXPECT_TRUE(came) << word << " of " << ::testing::PrintToString(m_seen);
    }
    void say(const std::string& word) {
        const std::lock_guard lock(m_mutex);
        m_seen.push_back(word);
        m_changed.notify_all();
    }
    static OpenvpnEngine& self(void* context) { return *static_cast<OpenvpnEngine*>(context); }
    std::string pidFile() const { return m_directory.path("pid"); }
    int programId() const {
        int id = 0;
        while (!(std::ifstream(pidFile()) >> id))
            std::this_thread::sleep_for(1ms);
        return id;
    }

    TemporaryDirectory m_directory;
    std::string m_program;
    openvpn_machine m_machine{};
    tunnel_server m_server{};
    const char* m_names[2] = {"a.example", "b.example"};
    engine_parameters m_parameters{};
    engine_wishes m_wishes{};
    std::thread m_thread;
    std::mutex m_mutex;  // guards what follows
    std::condition_variable m_changed;
    Words m_seen;
    engine_listener m_listener{
        this, [](void* context, const char* status) { self(context).say(status); },
        [](void* context, int reason) { self(context).say("close " + std::to_string(reason)); },
        [](void* context, const char* text, const char* value) { self(context).say(text + std::string(value)); }};
};

constexpr auto kConnected =
    "expect username \"Auth\" \"al\\\"ice\"\nexpect password \"Auth\" \"ticket\\\\77\"\n"
    ">STATE:1,WAIT,,,,,,\n>STATE:1,SOMETHING_NEW,,,,,,\n>STATE:1,AUTH,,,,,,\n>STATE:1,ASSIGN_IP,,10.8.0.2,,,,\n"
    ">UPDOWN:UP\n>UPDOWN:ENV,dev=tun0\n>UPDOWN:ENV,foreign_option_1=dhcp-option DNS 10.77.0.1\n>UPDOWN:ENV,END\n"
    ">STATE:1,CONNECTED,SUCCESS,10.8.0.2,192.0.2.7,1194,,\n";

TEST_F(OpenvpnEngine, reportsEachChangeOnceInOrder) {
    start(std::string(">PASSWORD:Need 'Auth' username/password\n") + kConnected +
          "expect signal SIGUSR1\n>STATE:1,RECONNECTING,SIGUSR1,,,,,\n>STATE:2,WAIT,,,,,,\n>STATE:2,AUTH,,,,,,\n"
          ">STATE:2,CONNECTED,ROUTE_ERROR,,192.0.2.7,1194,,,fd00::2\n");
    waitFor("connected ip=10.8.0.2");
    engine_wishes_put(&m_wishes, kEngineReconnect);
    waitFor("connected ip=fd00::2");
    EXPECT_LT(stop(), 500ms);
    EXPECT_EQ(m_seen,
              (Words{"init", "authenticating", "getconfig", "interface: tun0",
                     "not set, for want of the package systemd-resolved or resolvconf: nameserver 10.77.0.1;",
                     "connected ip=10.8.0.2", "openvpn starts over: SIGUSR1", "reconnecting",
                     "connected, but not all of it could be set up: ROUTE_ERROR", "connected ip=fd00::2", "ended"}));
}

TEST_F(OpenvpnEngine, endsWithTheReasonAndInWords) {
    const std::string auth = ">STATE:1,AUTH,,,,,,\n";
    const std::string refused = "authError, close 3, ended";
    const std::string over = "close 4, ended";
    const std::string unreadable = "openvpn's management interface says what cannot be read, " + over;
    const std::string noLine = "openvpn's management interface says what is no line, " + over;
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"print Options error: no\nexit", "openvpn: Options error: no, openvpn ended before it began, " + over},
        {">STATE:1,WAIT,,,,,,\ncut >STATE:1,CONN", "init, openvpn ended without a word, " + over},
        {"tell\n>FATAL:so", "openvpn: 0 1 2 3 4 5 PATH, openvpn gives up: so, " + over},
        {"stranger\n>FATAL:so",
         "another process than openvpn came to its management interface, openvpn gives up: so, " + over},
        {"flood", noLine},
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
        {">FATAL:cannot", "openvpn gives up: cannot, " + over},
        {">STATE:1,EXITING,tls-error,,,,,", "openvpn ends: tls-error, " + over},
        {">LOG:1,W,ticket\\77 and\n>LOG:1,N,SESSION-1\n>LOG:1,I,said\n>FATAL:p12secret",
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
        start(steps + "\nhang");
        waitFor("ended");
        stop();
        std::string seen;
        for (const std::string& word : m_seen)
            seen += (seen.empty() ? "" : ", ") + word;
        EXPECT_EQ(seen, end) << steps;
    }
}

TEST_F(OpenvpnEngine, triesTheAcceptedNamesInTurn) {
    m_parameters.server_name_count = 2;
    start("bears b.example\n>STATE:1,AUTH,,,,,,\n>STATE:1,CONNECTED,SUCCESS,,,,,");
    waitFor("connected");
    stop();
    EXPECT_EQ(m_seen, (Words{"the server's certificate is another's: CN=b.example, must be a.example", "authenticating",
                             "connected", "ended"}));
    start("bears c.example\n");
    waitFor("ended");
    const Words end(m_seen.end() - 4, m_seen.end());
    EXPECT_EQ(end,
              (Words{"the server's certificate bears none of the accepted names", "authError", "close 3", "ended"}));
}

TEST_F(OpenvpnEngine, endsAProgramThatWouldNotEnd) {
    start("deaf\npid " + pidFile() + "\nhang");
    const int program = programId();
    EXPECT_LT(stop(), 1s);
    EXPECT_EQ(::kill(program, 0), -1);
}

TEST_F(OpenvpnEngine, takesTheProgramAlongWhenItsProcessIsKilled) {
    perform("deaf\npid " + pidFile() + "\nhang");
    const pid_t process = ::fork();
    if (process == 0) {
        run();
        ::_exit(0);
    }
    const int program = programId();
    ::kill(process, SIGKILL);
    ::waitpid(process, nullptr, 0);
    const auto end = std::chrono::steady_clock::now() + 2s;
    while (::kill(program, 0) == 0 && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(5ms);
    EXPECT_EQ(::kill(program, 0), -1);
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
    const Words pushed = {
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
