// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <cstdlib>

#include "tests/sdk/component.h"
#include "tests/support/temporarydirectory.h"

extern "C" {
#include "sdk/components/tunnel/certificate.h"
#include "sdk/components/tunnel/proxydescription.h"
}

namespace nebrix::test {
namespace {

/// As "host port protocol family", with 0 for a name; empty if it is refused.
std::string parsed(const std::string& text) {
    tunnel_server server;
    if (!tunnel_server_parse(text.c_str(), &server))
        return "";
    const char* const family = server.family == AF_INET ? "4" : server.family == AF_INET6 ? "6" : "0";
    return std::string(server.host) + " " + std::to_string(server.port) + (server.tcp ? " tcp " : " udp ") + family;
}

TEST(TunnelServer, isReadStrictly) {
    const std::string label(63, 'a');
    const std::string longest = label + "." + label + "." + label + "." + std::string(61, 'a');
    const std::pair<std::string, std::string> accepted[] = {
        {"vpn.example", "vpn.example 1194 udp 0"},
        {"VPN-1.Example.:443/tcp", "VPN-1.Example 443 tcp 0"},
        {"1a/udp", "1a 1194 udp 0"},
        {"192.0.2.1:65535", "192.0.2.1 65535 udp 4"},
        {"[2001:db8::1]/tcp", "2001:db8::1 1194 tcp 6"},
        {"[::ffff:192.0.2.1]:1", "::ffff:192.0.2.1 1 udp 6"},
        {longest, longest + " 1194 udp 0"},
    };
    for (const auto& [text, result] : accepted)
        EXPECT_EQ(parsed(text), result) << text;
    const auto refused = split(
        "|.|a..b|.a|a..|-a|a-|a.-b|a_b|a b| a|a\n|a\nremote b|a,b|\xc3\xa9|--up|a:|a:0|a:01|a:+1|a:65536|"
        "a:18446744073709551617|a:1x|a:1:2|a/|a/TCP|a/tcp/|a/tcp6|/tcp|:1|2001:db8::1|[]|[a]|[192.0.2.1]|[::1|::1]|"
        "[::1]1|[fe80::1%eth0]|192.0.2|192.0.2.256|1.2.3.4.5|0x7f.1.2.3x.4|" +
            label + "a|" + longest + "a|" + std::string(100000, 'a'),
        '|');
    for (const std::string& text : refused)
        EXPECT_EQ(parsed(text), "") << text.substr(0, 300);
}

TEST(TunnelCertificate, isToldByItsContent) {
    const TemporaryDirectory folder;
    const std::string begin = "-----BEGIN ";
    const std::string certificate = begin + "CERTIFICATE-----\nMIIB\n-----END CERTIFICATE-----\n";
    const std::pair<std::string, certificate_kind> cases[] = {
        {certificate, kCertificatePem},
        {"Bag Attributes\r\n" + certificate + begin + "EC PRIVATE KEY-----\r\n", kCertificatePemWithKey},
        {begin + "ENCRYPTED PRIVATE KEY-----\n" + certificate, kCertificatePemWithKey},
        {begin + "PRIVATE KEY-----\n", kCertificateUnknown},
        {"x" + certificate, kCertificateUnknown},
        {begin + "X\nCERTIFICATE-----", kCertificateUnknown},
        {begin + "CERTIFICATE", kCertificateUnknown},
        {certificate.substr(0, certificate.find("MII")) + std::string(1 << 20, 'x'), kCertificateUnreadable},
        {"0\x82\x01\x01\x02\x01\x03", kCertificatePkcs12},
        {"0\x80\x02\x01\x03", kCertificatePkcs12},
        {"0\x82\x01\x01\x30\x82\x01", kCertificateUnknown},  // X.509
        {"0\x82\x01\x01\x02\x01", kCertificateUnknown},
        {"0\xff\x02\x01\x03", kCertificateUnknown},
    };
    for (const auto& [content, kind] : cases)
        EXPECT_EQ(certificate_kind_of(folder.write("file", content).c_str()), kind) << content.substr(0, 200);
    ASSERT_EQ(::mkfifo(folder.path("fifo").c_str(), 0600), 0);
    for (const std::string& path : {folder.path("fifo"), folder.path(), folder.path("none"), std::string("/dev/zero")})
        EXPECT_EQ(certificate_kind_of(path.c_str()), kCertificateUnreadable) << path;
    EXPECT_EQ(certificate_kind_of(""), kCertificateNone);
}

/// As "host port login password", "none" or "unusable".
std::string chosen(const std::string& description, const std::string& to) {
    tunnel_server server;
    tunnel_proxy proxy;
    EXPECT_TRUE(tunnel_server_parse(to.c_str(), &server));
    const proxy_choice choice = tunnel_proxy_choose(description.c_str(), &server, &proxy);
    if (choice != kProxyHttp)
        return choice == kProxyNone ? "none" : "unusable";
    return std::string(proxy.address.host) + " " + std::to_string(proxy.address.port) + " " + proxy.login + " " +
           proxy.password;
}

TEST(TunnelProxy, isTheDescribedOneOrTheEnvironments) {
    const char* const kUser = "1|none||user|pass|word|dom|save:no";
    const char* const kUrl = "http://proxy.example:3128/";
    const std::string many(512, 'a');
    // Description, https_proxy, no_proxy, server, and the choice.
    const std::vector<std::string> cases[] = {
        {"1|http|proxy.example:3128|user|pass|word|dom|save:no", "", "", "a", "proxy.example 3128 dom\\user pass|word"},
        {"1|connect|192.0.2.1|||dom|save:no", "other", "*", "a", "192.0.2.1 1080 dom "},
        {"0|http|proxy.example||||save:no", kUrl, "", "a", "none"},
        {"1|socks5|proxy.example||||save:no", kUrl, "", "a", "unusable"},
        {"1|http|proxy.example|a\nb|||save:no", "", "", "a", "unusable"},
        {"1|http|proxy.example|" + many + "|||save:no", "", "", "a", "unusable"},
        {"1|http|proxy.example|||save:no", "", "", "a", "unusable"},
        {"", "", "", "a", "none"},
        {"", "proxy.example", "", "a", "proxy.example 1080  "},
        {kUser, kUrl, "b,.a", "ba", "proxy.example 3128 dom\\user pass|word"},
        {kUser, "http://a%40b:c%3A:d@[::1]:80", "", "a", "::1 80 a@b c::d"},
        {kUser, "a@proxy.example", "", "a", "proxy.example 1080 a "},
        {kUser, "a:%0a@proxy.example", "", "a", "unusable"},
        {kUser, "https://proxy.example", "", "a", "unusable"},
        {kUser, kUrl, "b, .Example", "vpn.example", "none"},
        {kUser, kUrl, "192.0.2.0/23", "192.0.3.9", "none"},
        {kUser, kUrl, "192.0.2.0/24,192.0.4.0/23,192.0.3.0/,0.0.0.0/x,3.9", "192.0.3.9",
         "proxy.example 3128 dom\\user pass|word"},
        {kUser, kUrl, "2001:db8::/33", "[2001:db8:7fff::1]", "none"},
    };
    for (const auto& row : cases) {
        ::setenv("https_proxy", row[1].c_str(), 1);
        ::setenv("no_proxy", row[2].c_str(), 1);
        EXPECT_EQ(chosen(row[0], row[3]), row[4]) << row[0] << " " << row[1] << " " << row[2];
    }
    ::unsetenv("https_proxy");
    ::unsetenv("no_proxy");
}

}  // namespace
}  // namespace nebrix::test
