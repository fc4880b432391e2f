#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""The tunnel plug-in, its engines and real servers, and those of nebrix-demo-gateway, each case on a machine of its own
(lab.py): packets, refusals, and what is left after every kind of end.

usage: tunnel_test.py [WORD|-WORD]...     the cases whose names hold these words and not those
"""

import concurrent.futures
import itertools
import os
import re
import shutil
import signal
import subprocess
import sys
import threading
import time
import traceback
import urllib.request

import lab as machine
from lab import GATEWAY, LOG, SECRETS, SILENT, Client, Lab, read, run, wait_for

BOTH = ("openvpn", "networkmanager")
SKIPPED = 77  # for ctest
cases = {}


def case(*engines, of=("",)):
    """One for each engine and each kind, which the function is given."""
    def add(function):
        for engine, kind in itertools.product(engines, of):
            given = [kind] if kind else []
            cases["_".join([function.__name__, *given]) + f" {engine}"] = lambda lab, given=given: function(lab, *given)
    return add


def check(condition, *what):
    if not condition:
        raise AssertionError(" ".join(str(part) for part in what))


def check_left(lab, before, seconds=2.0):
    """Everything is as it was, or soon will be."""
    def changes():
        return {kind: f"{now - before[kind]} came, {before[kind] - now} went"
                for kind, now in lab.state().items() if now != before[kind]}
    wait_for(lambda: not changes(), seconds, lambda: str(changes()))


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


@case(*BOTH, of=REFUSALS)
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


def with_server_killed(lab):
    server, address = lab.server(port=1194)
    client = lab.client(address)
    check_packets(lab, client)
    time.sleep(1)  # NetworkManager's engine misses what has answered it once
    server.kill()
    server.wait()  # its port is free then
    return client


@case(*BOTH)
def comes_back_with_the_server(lab):
    client = with_server_killed(lab)
    client.wait_for_state("reconnecting")
    known = len(client.states())
    lab.server(port=1194)
    client.wait_for_state("connected", 15, after=known)
    check_packets(lab, client)


# What the client says there, and how it comes there.
SITUATIONS = {
    "silence": ("init", lambda lab: lab.client(f"{SILENT}:1194")),
    "unfinished_handshake": ("authenticating", lambda lab: lab.client(lab.server(check="slow")[1])),
    "no_configuration": ("authenticating", lambda lab: lab.client(lab.server(check="later")[1])),
    "established": ("connected", lambda lab: lab.client(lab.server()[1])),
    "lost": ("reconnecting", with_server_killed),
}


@case(*BOTH, of=SITUATIONS)
def ends_in(lab, situation):
    """By SIGKILL of the client, then by SIGTERM."""
    before = lab.state()
    for number in (signal.SIGKILL, signal.SIGTERM):
        state, begin = SITUATIONS[situation]
        client = begin(lab)
        client.wait_for_state(state, 20)
        time.sleep(0.3)
        client.end(number)
        check(number == signal.SIGKILL or client.process.returncode == 0, client)
        check_left(lab, before)


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
    lab.server(more=more, port=1194)
    client = lab.client("[fd99::1]:1194/tcp")
    check(":" in client.wait_for_state("connected ip="), client)
    check_packets(lab, client, "fd77::1")


@case("networkmanager")
def ended_in_networkmanager(lab):
    client = lab.client(lab.server()[1])
    client.wait_for_state("connected")
    run("sh", "-c", "nmcli connection down $(nmcli -g UUID,TYPE connection show --active | sed -n s/:vpn//p)")
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
    check(re.search(r"no tunnel (?=.*\bnetwork-manager-openvpn\b).*(?<!-)\bopenvpn\b", read(LOG)), client)


@case("openvpn")
def demo_gateways_with_tunnels(lab):
    """Three at once, each with a page of its own behind its server; the last one takes another ticket."""
    run("ip", "link", "delete", "near")  # theirs have the same addresses
    secrets = ("--login", "planted login \u00fc", "--ticket", 'planted"tick\\et', "--password", "planted-password")
    befores, gateways = [], []
    for words in (), ("--tunnel-proto", "tcp", "--tunnel-port", "4443"), ("--tunnel-ticket", "another"):
        befores.append(lab.state())
        gateways.append(lab.start_gateway("--tunnel", *secrets, *words, temporary="/tmp"))
    for number, server in enumerate(("10.99.0.1:1194/udp", "10.99.1.1:4443/tcp", "10.99.2.1:1194/udp")):
        gateway, said = gateways[number]
        process, *rest = said["tunnel"]
        behind = f"10.77.{number}.1"
        check(rest == [server, "page", f"http://{behind}/"], said)
        told = read(f"/proc/{process}/cmdline") + read(f"/proc/{process}/environ")
        check("--config" in told and "planted" not in told, told)
        client = Client(lab, said)
        if number == 2:
            client.wait_for_end(10)
            check(client.account()["cause"] == "asked-again", client)
            check(gateway.stdout.readline() == "tunnel refused: wrong login or ticket\n", client)
            continue
        client.wait_for_state("connected")
        check(gateway.stdout.readline().startswith("tunnel accepted: right login and ticket"), client)
        check(behind in name_servers(lab), name_servers(lab))
        page = urllib.request.urlopen(said["page"], timeout=5).read().decode()
        check(page == f"This page came through the tunnel, to 10.88.{number}.2.\n", page)
        client.end()
    for number, seconds in (signal.SIGINT, 0), (signal.SIGKILL, 2), (signal.SIGTERM, 0):
        gateway, _ = gateways.pop()
        gateway.send_signal(number)
        check(gateway.wait(2) == (0 if seconds == 0 else -number), gateway.returncode)
        check_left(lab, befores.pop(), seconds)


@case("")
def demo_gateway_says_what_is_missing(_):
    program = shutil.copy(GATEWAY, "/tmp")  # where everybody may come
    for spoil, words in (("exec setpriv --reuid 65534", "a tunnel can only be made by root"),
                         ("rm /usr/sbin/openvpn;", "needs /usr/sbin/openvpn, from the package openvpn"),
                         ("rm /dev/net/tun;", "needs /dev/net/tun, which cannot be opened")):
        done = subprocess.run(["sh", "-c", f"{spoil} {program} --tunnel"], capture_output=True, text=True)
        check(done.returncode == 1 and words in done.stderr and done.stderr.count("\n") == 1 and not done.stdout, done)


def inside(name, scratch):
    """Runs one case as the first process of its namespaces."""
    try:
        written = machine.enter_tree(scratch)
        if name != "probe":
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
    if lacking := machine.lacks("openvpn") or run_case("probe")[1]:
        print(f"skipped: this machine lacks something: {lacking}")
        return SKIPPED
    wanted = [name for name in cases if all((word.lstrip("-") in name) != word.startswith("-") for word in words)]
    if lacking := machine.lacks("networkmanager"):
        print(f"without {lacking}: its cases are skipped")
        wanted = [name for name in wanted if "networkmanager" not in name]
    failed = 0
    with concurrent.futures.ThreadPoolExecutor(max_workers=3 * os.cpu_count()) as pool:
        for name, (status, said, taken) in zip(wanted, pool.map(run_case, wanted)):
            failed += status != 0
            print(f"{name}: {'FAILED, ' + said if status else 'passed'}, {taken:.1f} s", flush=True)
    print(f"{len(wanted) - failed} of {len(wanted)} passed")
    return 1 if failed or not wanted else 0


if sys.argv[1:2] == ["--inside"]:
    inside(*sys.argv[2:])
else:
    sys.exit(main(sys.argv[1:]))
