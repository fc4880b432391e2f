// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "libs/base/descriptor.h"

/// The parts of the demo gateway that only Linux has: a tunnel needs a far end that this machine cannot reach without
/// it, and a network namespace is the one way to have that on the same machine, without names and files that would
/// stay behind.
namespace tessel::gateway {

/// A network of its own, empty but for its loopback interface, which is down. It has no name: it goes, with all of its
/// interfaces, when the object and whatever was opened and started inside are gone, however they ended.
///
/// Used by one thread.
class NetworkNamespace {
public:
    /// Needs CAP_SYS_ADMIN. Raises EGateway.
    NetworkNamespace();

    [[nodiscard]] int descriptor() const noexcept { return m_own.get(); }

    /// While it lives, what the calling thread opens and starts, its threads and programs included, is inside.
    class Inside {
    public:
        /// Raises EGateway.
        explicit Inside(const NetworkNamespace& network);
        Inside(const Inside&) = delete;
        Inside& operator=(const Inside&) = delete;
        ~Inside();

    private:
        const NetworkNamespace& m_network;
    };

private:
    Descriptor m_outer;  // where the constructor was called
    Descriptor m_own;
};

/// A cable between this network (its end is ".2") and the namespace's (".1"), both configured and up, with addresses
/// 10.99.N.0/30; the namespace has 10.77.N.1 as well, which only those reach who are told a way. N is the lowest number
/// that no other object of this network has: the interface "nebrixN" is what holds it, so that several processes
/// agree. Gone with the object; with the process, if that is killed.
class Cable {
public:
    /// Needs CAP_NET_ADMIN and the tool ip(8). Raises EGateway.
    explicit Cable(const NetworkNamespace& far);
    Cable(const Cable&) = delete;
    Cable& operator=(const Cable&) = delete;
    ~Cable();

    /// "10.NETWORK.N.LAST"
    [[nodiscard]] std::string address(unsigned network, unsigned last) const;
    /// The outer address of the namespace, and the one behind it.
    [[nodiscard]] std::string farAddress() const { return address(99, 1); }
    [[nodiscard]] std::string hiddenAddress() const { return address(77, 1); }

private:
    [[nodiscard]] std::string name() const { return "nebrix" + std::to_string(m_number); }

    unsigned m_number = 0;
};

/// OpenVPN, where its package has it.
inline constexpr const char* kOpenvpn = "/usr/sbin/openvpn";

/// What making a namespace and a tunnel in it lacks on this machine, as a sentence; empty when nothing is known.
std::string missingForTunnels();

/// Starts a program that is killed when the calling thread ends, without input and output; the descriptors become 3, 4,
/// ... Raises EGateway. Returned is its number, to be reaped by the caller, and a descriptor that polls as readable
/// once it has ended.
struct DependentProgram {
    int id;
    Descriptor ended;
};
DependentProgram startDependent(const std::string& program, std::vector<std::string> arguments,
                                std::vector<int> descriptors);

}  // namespace tessel::gateway
