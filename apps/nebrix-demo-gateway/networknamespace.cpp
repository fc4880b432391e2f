// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-demo-gateway/networknamespace.h"

#include <fcntl.h>
#include <net/if.h>
#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <exception>
#include <utility>

#include "apps/nebrix-demo-gateway/errors.h"
#include "libs/base/platform.h"

namespace tessel::gateway {

namespace {

constexpr const char* kIp = "/bin/ip";
constexpr const char* kSetpriv = "/usr/bin/setpriv";
constexpr unsigned kMostCables = 256;

[[noreturn]] void fail(const std::string& what, int systemError) {
    raise<EGateway>(String::copy(what + ": ") + platform::errorText(systemError), sites::kNoNetwork);
}

Descriptor currentNamespace() {
    Descriptor result(::open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC));
    if (!result.valid()) {
        fail("cannot open this thread's network", errno);
    }
    return result;
}

/// Runs ip(8), with its complaints where `output` is; whether it succeeded.
bool ip(std::vector<std::string> arguments, std::vector<int> descriptors = {}, int output = -1) {
    const platform::StartedProcess started = platform::startProcess(
        {.program = kIp, .arguments = std::move(arguments), .output = output, .descriptors = std::move(descriptors)});
    if (started.id < 0) {
        return false;
    }
    const platform::ProcessEnd end = platform::reapProcess(started.id);
    return end.status == 0 && end.signal == 0;
}

/// A connection that was closed keeps its network alive until the other side knows. One whose other side went away
/// without a word would do so for minutes; here it is given up after a second.
void forgetClosedConnections() {
    const Descriptor setting(::open("/proc/sys/net/ipv4/tcp_orphan_retries", O_WRONLY | O_CLOEXEC));
    std::string_view once = "1";
    platform::writeWithin(setting.get(), once, 0);  // without it everything works, but the end
}

void configure(const std::vector<std::vector<std::string>>& steps) {
    for (const auto& step : steps) {
        if (!ip(step, {}, STDERR_FILENO)) {
            raise<EGateway>("the tunnel's network cannot be configured", sites::kNoNetwork);
        }
    }
}

}  // namespace

NetworkNamespace::NetworkNamespace() : m_outer(currentNamespace()) {
    if (::unshare(CLONE_NEWNET) != 0) {
        fail("cannot make a network namespace", errno);
    }
    m_own = Descriptor(::open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC));
    const int failure = errno;
    forgetClosedConnections();
    if (::setns(m_outer.get(), CLONE_NEWNET) != 0) {
        std::terminate();  // everything else of this thread would happen in the wrong network
    }
    if (!m_own.valid()) {
        fail("cannot open the network namespace", failure);
    }
}

NetworkNamespace::Inside::Inside(const NetworkNamespace& network) : m_network(network) {
    if (::setns(network.m_own.get(), CLONE_NEWNET) != 0) {
        fail("cannot enter the network namespace", errno);
    }
}

NetworkNamespace::Inside::~Inside() {
    if (::setns(m_network.m_outer.get(), CLONE_NEWNET) != 0) {
        std::terminate();
    }
}

Cable::Cable(const NetworkNamespace& far) {
    // Who succeeds in making the interface has its number. One that is there is passed over, and so is one that another
    // process makes meanwhile.
    while (::if_nametoindex(name().c_str()) != 0 ||
           !ip({"link", "add", name(), "type", "veth", "peer", "name", "far", "netns", "/proc/self/fd/3"},
               {far.descriptor()})) {
        if (::if_nametoindex(name().c_str()) == 0 || ++m_number == kMostCables) {
            raise<EGateway>("cannot make a network interface", sites::kNoNetwork);
        }
    }
    configure({{"address", "add", address(99, 2) + "/30", "dev", name()}, {"link", "set", name(), "up"}});
    const NetworkNamespace::Inside inside(far);
    configure({{"link", "set", "lo", "up"},
               {"address", "add", hiddenAddress() + "/32", "dev", "lo"},
               {"address", "add", farAddress() + "/30", "dev", "far"},
               {"link", "set", "far", "up"}});
}

Cable::~Cable() { ip({"link", "delete", name()}); }

std::string Cable::address(unsigned network, unsigned last) const {
    return "10." + std::to_string(network) + "." + std::to_string(m_number) + "." + std::to_string(last);
}

std::string missingForTunnels() {
    if (::geteuid() != 0) {
        return "a tunnel can only be made by root";
    }
    if (!Descriptor(::open("/dev/net/tun", O_RDWR | O_CLOEXEC)).valid()) {
        return "a tunnel needs /dev/net/tun, which cannot be opened: " + std::string(platform::errorText(errno).view());
    }
    constexpr std::pair<const char*, const char*> kPrograms[] = {
        {kOpenvpn, "openvpn"}, {kIp, "iproute2"}, {kSetpriv, "util-linux"}};
    for (const auto& [program, package] : kPrograms) {
        if (::access(program, X_OK) != 0) {
            return "a tunnel needs " + std::string(program) + ", from the package " + package;
        }
    }
    return {};
}

DependentProgram startDependent(const std::string& program, std::vector<std::string> arguments,
                                std::vector<int> descriptors) {
    const std::vector<std::string> front{"--pdeathsig", "KILL", "--", program};
    arguments.insert(arguments.begin(), front.begin(), front.end());
    platform::StartedProcess started = platform::startProcess(
        {.program = kSetpriv, .arguments = std::move(arguments), .descriptors = std::move(descriptors)});
    if (started.id < 0) {
        fail("cannot start " + program, errno);
    }
    return {started.id, std::move(started.ended)};
}

}  // namespace tessel::gateway
