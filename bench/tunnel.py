#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""What the client adds to a tunnel: the time until it carries packets, and what 1 GB through it costs.

The same tunnel is asked for in turns by the headless client and by its peer: openvpn with its own options for the
engine "openvpn", nmcli with a stored profile for "networkmanager". Both are timed from the start of the program to the
tunnel's route, and to the moment when they say that they are connected, each in its own line. Then 1 GB comes through
the tunnel over TCP, again in turns. Servers and networks are those of tests/tunnel; needs root.

usage: bench/tunnel.py [BUILD/bin] [ROUNDS]
"""
import os
import signal
import statistics
import subprocess
import sys
import threading
import time

root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
inside = sys.argv[1:2] == ["--inside"]
if not inside:
    os.environ["NEBRIX_BIN"] = os.path.abspath(sys.argv[1] if len(sys.argv) > 1 else
                                               os.path.join(root, "build/release/bin"))
sys.path.insert(0, os.path.join(root, "tests/tunnel"))
import lab as machine

GIGABYTE = 1 << 30
TURNS = 3
SEND = f"""import socket
listener = socket.create_server(("10.77.0.1", 7777))
while True:
    peer = listener.accept()[0]
    block, left = bytes(1 << 20), {GIGABYTE}
    try:
        while left > 0:
            left -= peer.send(block[:min(left, len(block))])
    except OSError:
        pass
    peer.close()
"""
RECEIVE = """import socket
peer, block = socket.create_connection(("10.77.0.1", 7777)), bytearray(1 << 20)
while peer.recv_into(block):
    pass
"""


def has_route():
    return "01004D0A" in machine.read("/proc/net/route")


class Asked:
    """A tunnel that a program was asked for: when it had its route, and when the program said so."""

    def __init__(self, start, says):
        begun = time.perf_counter()
        self.process = start()
        told = threading.Thread(target=lambda: self._note(begun, says))
        told.start()
        while not has_route():
            if self.process.poll() not in (None, 0) or time.perf_counter() - begun > 20:
                sys.exit("no tunnel")
            time.sleep(0.0005)
        self.route = time.perf_counter() - begun
        told.join()

    def _note(self, begun, says):
        for line in self.process.stdout:
            if says in line:
                break
        self.said = time.perf_counter() - begun

    def wait_gone(self):
        while has_route() or "openvpn --client" in "".join(lab.processes().values()):
            time.sleep(0.01)


class Client(Asked):
    def __init__(self, links):
        machine.write(f"{machine.HOME}/.Nebrix/nebrixclient.xml", "<nebrixclient><sslcertignoredomains><domains>" +
                      links["listening"] + "</domains></sslcertignoredomains></nebrixclient>")
        environment = {"HOME": machine.HOME, "PATH": os.environ["PATH"], "NEBRIX_TUNNEL_ENGINE": lab.engine}
        super().__init__(lambda: subprocess.Popen([f"{machine.BIN}/nebrixclient-cli", links["plugindll"]], text=True,
                                                  stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                                  env=environment), "vpn: connected")

    def ours(self):
        """The client's own processes."""
        return [number for number, command in lab.processes().items()
                if command.startswith(f"{machine.BIN}/nebrixclient-cli") or "nebrix-component-host" in command]

    def end(self):
        self.process.send_signal(signal.SIGTERM)
        self.process.stdout.read()
        self.process.wait()
        self.wait_gone()


class Openvpn(Asked):
    def __init__(self, port):
        command = ["openvpn", "--client", "--nobind", "--dev", "tun", "--remote", "10.99.0.1", port, "udp", "--ca",
                   "ca.pem", "--pkcs12", "client.p12", "--askpass", "/pki/password", "--auth-user-pass", "/pki/login",
                   "--remote-cert-tls", "server", "--verify-x509-name", "vpn.example", "name"]
        super().__init__(lambda: subprocess.Popen(command, text=True, stdout=subprocess.PIPE, cwd="/pki/served"),
                         "Initialization Sequence Completed")

    def end(self):
        self.process.terminate()
        self.process.stdout.read()
        self.process.wait()
        self.wait_gone()


class Nmcli(Asked):
    def __init__(self, port):
        data = ", ".join(f"{key} = {value}" for key, value in {
            "connection-type": "password-tls", "remote": "10.99.0.1", "port": port, "ca": "/pki/served/ca.pem",
            "cert": "/pki/served/client.p12", "key": "/pki/served/client.p12", "verify-x509-name": "name:vpn.example",
            "remote-cert-tls": "server", "username": "alice", "password-flags": "0", "cert-pass-flags": "0"}.items())
        if "plain" not in machine.run("nmcli", "-g", "NAME", "connection", "show"):
            machine.run("nmcli", "connection", "add", "type", "vpn", "con-name", "plain", "vpn-type", "openvpn",
                        "ipv4.never-default", "yes", "ipv6.never-default", "yes", "vpn.data", data, "vpn.secrets",
                        f"password={machine.TICKET},cert-pass={machine.CERTIFICATE_PASSWORD}")
        super().__init__(lambda: subprocess.Popen(["nmcli", "connection", "up", "plain"], text=True,
                                                  stdout=subprocess.PIPE), "successfully activated")

    def end(self):
        machine.run("nmcli", "connection", "down", "plain")
        self.wait_gone()


def processor_time(numbers):
    ticks = 0
    for number in numbers:
        ticks += sum(map(int, machine.read(f"/proc/{number}/stat").rsplit(")", 1)[1].split()[11:13]))
    return ticks / os.sysconf("SC_CLK_TCK")


def transfer(asked):
    ours = asked.ours() if isinstance(asked, Client) else []
    begun, before = time.perf_counter(), processor_time(ours)
    machine.run(sys.executable, "-c", RECEIVE)
    taken = time.perf_counter() - begun
    return GIGABYTE / taken / 1e6, processor_time(ours) - before


def measure(rounds):
    address = lab.server()[1]
    links = lab.gateway(address)
    client = lambda: Client(links)
    plain = lambda: (Nmcli if lab.engine == "networkmanager" else Openvpn)(address.split(":")[1])
    machine.write("/pki/password", machine.CERTIFICATE_PASSWORD + "\n", 0o600)
    machine.write("/pki/login", f"alice\n{machine.TICKET}\n", 0o600)
    client().end()  # fetches what the rounds find cached
    times = {"client": [], "plain": []}
    for _ in range(rounds):
        for name, ask in (("client", client), ("plain", plain)):
            asked = ask()
            times[name].append((asked.route * 1000, asked.said * 1000))
            asked.end()
    peer = "nmcli" if lab.engine == "networkmanager" else "openvpn"
    for i, what in enumerate(("tunnel's route", "said to be connected")):
        ours, theirs = (statistics.median(time[i] for time in times[name]) for name in ("client", "plain"))
        print(f"{lab.engine}: start to {what}: client {ours:.0f} ms, {peer} {theirs:.0f} ms, {ours - theirs:+.0f} ms "
              f"(medians of {rounds})")
    lab.start_far(sys.executable, "-c", SEND)
    rates, used = {"client": [], "plain": []}, 0.0
    for _ in range(TURNS):
        for name, ask in (("client", client), ("plain", plain)):
            asked = ask()
            rate, processor = transfer(asked)
            rates[name].append(rate)
            used = max(used, processor)
            asked.end()
    ours, theirs = (statistics.median(rates[name]) for name in ("client", "plain"))
    print(f"{lab.engine}: 1 GB through the tunnel: client {ours:.0f} MB/s, {peer} {theirs:.0f} MB/s, ratio "
          f"{ours / theirs:.2f}; processor time of the client and its component's host meanwhile {used:.2f} s at most "
          f"(medians of {TURNS})")


if inside:
    engine, rounds, scratch = sys.argv[2:]
    lab = machine.Lab(engine, machine.enter_tree(scratch))
    measure(int(rounds))
    sys.stdout.flush()
    os._exit(0)
print(machine.run("sh", "-c", "lscpu | sed -n 's/^Model name: *//p'"), end="", flush=True)
for engine in ("openvpn", "networkmanager"):
    status, said, _ = machine.in_namespaces(1000, os.path.abspath(__file__), "--inside", engine,
                                            sys.argv[2] if len(sys.argv) > 2 else "20")
    print(said, end="")
    if status != 0:
        sys.exit(status)
