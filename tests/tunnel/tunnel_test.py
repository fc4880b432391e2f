#!/usr/bin/python3
"""The tunnel plug-in, its engines and real servers, each case on a machine of its own (lab.py): packets, refusals, and
what is left after every kind of end.

usage: tunnel_test.py [WORD|-WORD]...     the cases whose names hold these words and not those
"""

import concurrent.futures
import os
import re
import signal
import subprocess
import sys
import threading
import time
import traceback

import lab as machine
from lab import LOG, SECRETS, SILENT, Lab, read, run, wait_for

BOTH = ("openvpn", "networkmanager")
SKIPPED = 77  # for ctest
cases = {}


def case(*engines):
    def add(function):
        for engine in engines:
            cases[f"{function.__name__} {engine}"] = lambda lab: function(lab)
        return function
    return add


def check(condition, *what):
    if not condition:
        raise AssertionError(" ".join(str(part) for part in what))


def check_left(lab, before):
    """Everything is as it was, within two seconds."""
    def changes():
        return {kind: f"{now - before[kind]} came, {before[kind] - now} went"
                for kind, now in lab.state().items() if now != before[kind]}
    wait_for(lambda: not changes(), 2.0, lambda: str(changes()))


def check_packets(lab, client, behind="10.77.0.1"):
    address = client.wait_for_state("connected ip=").split("=")[1]
    wait_for(lambda: subprocess.run(["ping", "-c", "1", "-W", "1", "-s", "1300", behind],
                                    stdout=subprocess.DEVNULL).returncode == 0, 5, "an answer from behind the tunnel")
    lab.far("ping", "-c", "1", "-W", "1", address)


def watch(lab, over, found):
    """Looks for secrets in arguments and environments until it is over."""
    while not over.wait(0.003):
        for number, command in lab.processes().items():
            text = command + read(f"/proc/{number}/environ")
            if any(secret in text for secret in SECRETS):
                found.add(text)


def check_files(lab):
    """No file holds a secret, but what the servers keep."""
    for path in lab.files():
        if os.path.isfile(path) and not path.startswith(("/pki/", "/logs/")):
            check(not any(secret in read(path) for secret in SECRETS), "a secret in", path)


@case(*BOTH)
def carries_packets(lab):
    before = lab.state()
    over, found = threading.Event(), set()
    watcher = threading.Thread(target=watch, args=(lab, over, found))
    watcher.start()
    client = lab.client(lab.server()[1])
    check_packets(lab, client)
    states = client.states()
    check([state.split("=")[0] for state in states] == ["init", "authenticating", "getconfig", "connected ip"], states)
    check(re.search(r"^10\.77\.0\.1 .*dev tun", run("ip", "route"), re.M), run("ip", "route"))
    check("10.77.0.53" in name_servers(lab), name_servers(lab))
    joined = read("/logs/joined")
    if lab.engine == "openvpn":  # NetworkManager passes none on
        check(f"UV_SESSION={machine.SESSION_ID}\n" in joined and "UV_ORGANIZATION=Lab\n" in joined, joined)
    check_files(lab)
    client.end()
    check(client.process.returncode == 0, client)
    check_left(lab, before)
    over.set()
    watcher.join()
    check(not found, "secrets in", found)
    check(f"engine: {lab.engine}" in read(LOG), client)
    check_files(lab)


def name_servers(lab):
    return read("/run/NetworkManager/resolv.conf" if lab.engine == "networkmanager" else "/run/name-servers")


# What is wrong, where: for the server, and for the gateway that hands out the session.
REFUSALS = {
    "ticket": ({}, {"ticket": "wrong"}),
    "authority": ({}, {"served": "served-other"}),
    "name": ({"certificate": "named"}, {}),
    "expiry": ({"certificate": "expired"}, {}),
}


def refuses(lab, what):
    of_server, of_gateway = REFUSALS[what]
    before = lab.state()
    client = lab.client(lab.server(**of_server)[1], **of_gateway)
    client.wait_for_end(45)
    # NetworkManager does not tell a certificate that openvpn refuses from a server that is silent.
    expected = "asked-at-once" if lab.engine == "networkmanager" and what != "ticket" else "asked-again"
    check(client.account()["cause"] == expected, client)
    check(("authError" in client.states()) == (expected != "asked-at-once"), client)
    check(not any(state.startswith("connected") for state in client.states()), client)
    check_left(lab, before)


@case(*BOTH)
def comes_back_with_the_server(lab):
    server, address = lab.server()
    client = lab.client(address)
    check_packets(lab, client)
    server.kill()
    server.wait()
    client.wait_for_state("reconnecting")
    known = len(client.states())
    lab.server(port=int(address.split(":")[1]))
    client.wait_for_state("connected", 15, after=known)
    check_packets(lab, client)


def silence(lab):
    return lab.client(f"{SILENT}:1194"), "init"


def unfinished_handshake(lab):
    return lab.client(lab.server(check="slow")[1]), "authenticating"


def no_configuration(lab):
    return lab.client(lab.server(check="later")[1]), "authenticating"


def established(lab):
    return lab.client(lab.server()[1]), "connected"


def lost(lab):
    server, address = lab.server()
    client = lab.client(address)
    check_packets(lab, client)
    time.sleep(1)  # NetworkManager's engine misses what has answered it once
    server.kill()
    return client, "reconnecting"


def ends_in(lab, situation):
    """By SIGKILL of the client, then by SIGTERM."""
    before = lab.state()
    for number in (signal.SIGKILL, signal.SIGTERM):
        client, state = situation(lab)
        client.wait_for_state(state, 20)
        time.sleep(0.3)
        client.end(number)
        check(number == signal.SIGKILL or client.process.returncode == 0, client)
        check_left(lab, before)


for engine in BOTH:
    for what in REFUSALS:
        cases[f"refuses_{what} {engine}"] = lambda lab, what=what: refuses(lab, what)
    for situation in (silence, unfinished_handshake, no_configuration, established, lost):
        cases[f"ends_in_{situation.__name__} {engine}"] = lambda lab, situation=situation: ends_in(lab, situation)


@case(*BOTH)
def gives_up_on_silence(lab):
    client = lab.client(f"{SILENT}:1194")
    client.wait_for_end(75)
    check(client.account()["cause"] == "asked-at-once" and "authError" not in client.states(), client)


@case(*BOTH)
def two_at_once(lab):
    before = lab.state()
    clients = [lab.client(lab.server(number=number)[1]) for number in (8, 9)]
    for client, behind in zip(clients, ("10.77.0.1", "10.78.0.1")):
        check_packets(lab, client, behind)
    clients[0].end()
    check_packets(lab, clients[1], "10.78.0.1")
    clients[1].end(signal.SIGKILL)
    check_left(lab, before)


@case(*BOTH)
def ipv6_over_tcp(lab):
    more = ("--proto", "tcp6-server", "--mode", "server", "--tls-server", "--server-ipv6", "fd08::/64", "--push",
            "route-ipv6 fd77::1/128")
    client = lab.client("[fd99::1]:1194/tcp" if lab.server(more=more, port=1194) else "")
    check(":" in client.wait_for_state("connected ip="), client)
    check_packets(lab, client, "fd77::1")


@case("networkmanager")
def ended_in_networkmanager(lab):
    client = lab.client(lab.server()[1])
    client.wait_for_state("connected")
    for profile in run("nmcli", "-g", "UUID,TYPE", "connection", "show", "--active").split():
        if profile.endswith(":vpn"):
            run("nmcli", "connection", "down", profile.split(":")[0])
    client.wait_for_end(2.0)
    check("reconnecting" not in client.states(), client)


@case("networkmanager")
def networkmanager_restarted(lab):
    client = lab.client(lab.server()[1])
    client.wait_for_state("connected")
    known = len(client.states())
    lab.manager.terminate()
    lab.manager.wait()
    lab.start_manager()
    client.wait_for_state("connected", 20, after=known)
    check_packets(lab, client)


@case("")
def no_engine(lab):
    os.remove("/dev/net/tun")
    client = lab.client("10.99.0.1:1194")
    client.wait_for_end(5)
    check(client.account()["cause"] == "asked-at-once" and not client.states(), client)
    for package in ("network-manager-openvpn", "openvpn"):
        check(re.search(rf"no tunnel .*\b{package}\b", read(LOG)), client)


def inside(name, scratch):
    """Runs one case as the first process of its namespaces."""
    try:
        written = machine.enter_tree(scratch)
        if name == "probe":
            return
        cases[name](Lab(name.split(" ")[1], written))
    except Exception:
        traceback.print_exc(file=sys.stdout)
        sys.stdout.flush()
        subprocess.run("tail -n 25 /logs/manager /logs/server-* 2>/dev/null", shell=True)
        os._exit(1)
    os._exit(0)


def run_case(name):
    return machine.in_namespaces(90, __file__, "--inside", name)


def main(words):
    if os.geteuid() != 0:
        print("skipped: needs root, for namespaces")
        return SKIPPED
    if lacking := machine.lacks("openvpn"):
        print(f"skipped: without {lacking}")
        return SKIPPED
    status, said, _ = run_case("probe")
    if status != 0:
        print("skipped: this machine gives no namespaces, mounts or tunnel devices here:\n" + said)
        return SKIPPED
    wanted = [name for name in cases if all((word.lstrip("-") in name) != word.startswith("-") for word in words)]
    if lacking := machine.lacks("networkmanager"):
        print(f"without {lacking}: its cases are skipped")
        wanted = [name for name in wanted if "networkmanager" not in name]
    failed = 0
    with concurrent.futures.ThreadPoolExecutor(max_workers=3 * os.cpu_count()) as pool:
        for name, (status, said, taken) in zip(wanted, pool.map(run_case, wanted)):
            print(f"{name}: {'passed' if status == 0 else 'FAILED'}, {taken:.1f} s", flush=True)
            if status != 0:
                failed += 1
                print(said, flush=True)
    print(f"{len(wanted) - failed} of {len(wanted)} passed")
    return 1 if failed or not wanted else 0


if sys.argv[1:2] == ["--inside"]:
    inside(*sys.argv[2:])
else:
    sys.exit(main(sys.argv[1:]))
