# SPDX-License-Identifier: Apache-2.0
"""A machine of its own for one case: a tree over the system's in memory, a network with a server behind it, a system
bus with NetworkManager where the engine needs it, and the programs under test. Runs as the first process of namespaces
for mounts, network and processes, which end with it; nothing outside is touched."""

import ctypes
import itertools
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

SOURCE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
BIN = os.environ.get("NEBRIX_BIN", os.path.join(SOURCE, "build", "dev", "bin"))
GATEWAY = os.path.join(BIN, "nebrix-demo-gateway")
ASIDE = os.path.join(SOURCE, "build", "networkmanager", "root")  # unpacked there, since installed it would be started
TIME_FACTOR = float(os.environ.get("NEBRIX_TUNNEL_TIME_FACTOR", "1"))
PKI = "/pki"
HOME = "/root/lab"
LOG = "/tmp/nebrixclient.log"
TICKET, CERTIFICATE_PASSWORD, SESSION_ID = "ticket-7c1b", "password-e0f4", "session-93d5"
SECRETS = (TICKET, CERTIFICATE_PASSWORD, SESSION_ID)
SILENT = "10.66.0.1"  # routed to a host that drops what is not its own

# What may differ after a session: the client's own cache and log, what NetworkManager keeps of devices and leases.
KEPT = re.compile(rf"({HOME}/\.Nebrix|/tmp/nebrixclient\.log|/run/NetworkManager/(devices|dhcp|resolv|no-stub)"
                  r"|/run/NetworkManager$|/var/lib/NetworkManager|/logs)")
os.environ["PATH"] = "/usr/sbin:/usr/bin:/sbin:/bin"


def run(*command, **options):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, **options)
    if done.returncode != 0:
        raise AssertionError(f"{command}: {done.stdout}")
    return done.stdout


def wait_for(condition, seconds, what):
    """Returns the condition's value as soon as it is true."""
    begun = time.monotonic()
    while not (value := condition()):
        if time.monotonic() - begun > seconds * TIME_FACTOR:
            raise AssertionError(f"not within {seconds * TIME_FACTOR} s: {what() if callable(what) else what}")
        time.sleep(0.01)
    return value


def read(path):
    try:
        return pathlib.Path(path).read_text(encoding="utf-8", errors="replace")
    except OSError:
        return ""


def write(path, text, mode=0o644):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    pathlib.Path(path).write_text(text, encoding="utf-8")
    os.chmod(path, mode)


def in_namespaces(seconds, script, *arguments):
    """Runs a script as the first process of namespaces, with a directory for enter_tree() as its last argument.
    Returns status, output and how long it took."""
    begun = time.monotonic()
    with tempfile.TemporaryDirectory() as scratch:
        done = subprocess.run(["unshare", "--mount", "--net", "--pid", "--fork", "--kill-child", "--propagation",
                               "unchanged", "timeout", str(seconds * TIME_FACTOR), sys.executable, "-B", script,
                               *arguments, scratch], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    return done.returncode, done.stdout, time.monotonic() - begun


def lacks(engine):
    """What this machine has not that the engine's cases need; empty where it has all."""
    if engine == "networkmanager":
        service = os.path.exists("/usr/lib/NetworkManager/VPN/nm-openvpn-service.name")
        there = service and shutil.which("dbus-daemon") or os.path.isdir(ASIDE)
        return "" if there else "NetworkManager, which scripts/networkmanager.sh brings"
    lacking = [program for program in ("openvpn", "ip", "ping", "openssl") if not shutil.which(program)]
    return " ".join(lacking if os.geteuid() == 0 else ["root, for namespaces"])


def make_private(scratch):
    """Keeps what is mounted from now on to these namespaces. That is said of the mount that holds the tree, which in a
    chroot is found above the root alone."""
    root = os.open("/", os.O_PATH)
    os.chroot(scratch)
    os.fchdir(root)
    while os.stat("..").st_ino != os.stat(".").st_ino:
        os.chdir("..")
    os.chroot(".")
    if ctypes.CDLL(None, use_errno=True).mount(None, b"/", None, 0x4000 | 1 << 18, None) != 0:  # MS_REC, MS_PRIVATE
        raise OSError(ctypes.get_errno(), "mount propagation")
    os.fchdir(root)
    os.chroot(".")


def enter_tree(scratch):
    """Continues in a copy of the system's tree that lives in memory. Returns where what was written can be seen."""
    make_private(scratch)
    run("mount", "-t", "tmpfs", "tmpfs", scratch)
    written, tree = os.path.join(scratch, "written"), os.path.join(scratch, "tree")
    os.mkdir(tree)

    def overlay(name, lower, where):
        for folder in (name, f"{name}-work"):
            os.mkdir(os.path.join(scratch, folder))
        run("mount", "-t", "overlay", "-o",
            f"lowerdir={lower},upperdir={scratch}/{name},workdir={scratch}/{name}-work", "overlay", where)
    overlay("written", "/", tree)
    if os.path.isdir(ASIDE):
        overlay("programs", f"{ASIDE}/usr:/usr", tree + "/usr")
        run("mkdir", "-p", "var/lib/NetworkManager", "var/lib/openvpn/chroot", cwd=tree)
        for name, rest in (("passwd", "64000:64000::/var/lib/openvpn/chroot:/usr/sbin/nologin"), ("group", "64000:")):
            write(f"{tree}/etc/{name}", read(f"/etc/{name}") + f"nm-openvpn:x:{rest}\n")
    for folder in {SOURCE, os.path.dirname(BIN)}:
        os.makedirs(tree + folder, exist_ok=True)
        run("mount", "--bind", folder, tree + folder)
    run("mount", "-t", "proc", "proc", tree + "/proc")
    # NetworkManager waits for udev where /sys can be written.
    run("mount", "-t", "sysfs", "-o", "ro", "sysfs", tree + "/sys")
    run("mount", "-t", "tmpfs", "tmpfs", tree + "/dev")
    os.mkdir(tree + "/dev/net")
    os.symlink("/proc/self/fd", tree + "/dev/fd")
    for device in ("null c 1 3", "zero c 1 5", "random c 1 8", "urandom c 1 9", "net/tun c 10 200"):
        run("mknod", "-m", "666", *device.split(), cwd=tree + "/dev")
    seen = os.open(written, os.O_PATH)
    os.chroot(tree)
    os.chdir("/")
    os.close(os.open("/dev/net/tun", os.O_RDONLY))
    return f"/proc/{os.getpid()}/fd/{seen}"


def make_certificates():
    """Keys are of elliptic curves, which are made at once. The client's is a PKCS#12 file with a password."""
    os.makedirs(PKI)
    key = ["-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes"]
    for ca in ("ca", "other-ca"):
        run("openssl", "req", "-x509", *key, "-keyout", f"{ca}.key", "-out", f"{ca}.pem", "-days", "2", "-subj",
            f"/CN={ca}", cwd=PKI)
    for name, subject, usage, days in (("server", "vpn.example", "serverAuth", 2),
                                       ("named", "other.example", "serverAuth", 2),
                                       ("expired", "vpn.example", "serverAuth", -1),
                                       ("client", "alice", "clientAuth", 2)):
        run("openssl", "req", *key, "-keyout", f"{name}.key", "-out", "request", "-subj", f"/CN={subject}",
            "-addext", "keyUsage=digitalSignature", "-addext", f"extendedKeyUsage={usage}", cwd=PKI)
        run("openssl", "x509", "-req", "-in", "request", "-copy_extensions", "copyall", "-CA", "ca.pem", "-CAkey",
            "ca.key", "-CAcreateserial", "-days", str(days), "-out", f"{name}.pem", cwd=PKI)
    for directory, ca in (("served", "ca"), ("served-other", "other-ca")):
        write(f"{PKI}/{directory}/ca.pem", read(f"{PKI}/{ca}.pem"))
        run("openssl", "pkcs12", "-export", "-in", "client.pem", "-inkey", "client.key", "-passout",
            f"pass:{CERTIFICATE_PASSWORD}", "-out", f"{directory}/client.p12", cwd=PKI)
    for name, text in (("check", f'[ "$username" = alice ] && [ "$password" = {TICKET} ]'), ("slow", "sleep 600"),
                       ("later", "exit 2"),  # deferred: the server says neither yes nor no
                       ("joined", "env >/logs/joined")):
        write(f"{PKI}/{name}", f"#!/bin/sh\n{text}\n", 0o755)


class Lab:
    def __init__(self, engine, written):
        self.engine = engine
        self.written = written
        for mark in ("/run/lab", "/tmp/lab", "/logs/lab", f"{HOME}/lab"):  # brings the folders into the tree's own part
            write(mark, "")
        if os.path.lexists(LOG):
            os.remove(LOG)
        make_certificates()
        self._make_network()
        write("/usr/sbin/resolvconf",
              "#!/bin/sh\ncase $1 in -a) cat >/run/name-servers ;; -d) rm /run/name-servers ;; esac\n", 0o755)
        self._ports = iter(range(1194, 1294))
        self.manager = None
        if engine == "networkmanager":
            for folder in ("/run/dbus", "/run/NetworkManager/system-connections"):
                os.makedirs(folder, exist_ok=True)
            run("dbus-daemon", "--system", "--fork", "--nopidfile")
            self._configure_manager()
            self.start_manager()

    def _make_network(self):
        """10.99.0.1 is the server's side, which has 10.77.0.1 behind it. A default route leads to it as well, where
        everything else ends."""
        at_once = "for which in all default; do echo 0 >/proc/sys/net/ipv6/conf/$which/accept_dad; done\n"
        self._far = subprocess.Popen(["unshare", "--net", "sleep", "infinity"]).pid
        here = os.readlink("/proc/self/ns/net")
        wait_for(lambda: os.readlink(f"/proc/{self._far}/ns/net") != here, 5, "a second network")
        run("sh", "-ec", f"{at_once} ip link add near type veth peer name far netns {self._far}\n"
            "ip link set near addrgenmode none; ip link set lo up; ip link set near up")
        self.far("sh", "-ec", at_once + """
            ip link set lo up; ip link set far up; ip addr add 10.99.0.1/24 dev far; ip addr add 10.99.0.254/24 dev far
            ip addr add fd99::1/64 dev far; ip addr add 10.77.0.1/32 dev lo; ip addr add 10.78.0.1/32 dev lo
            ip addr add fd77::1/128 dev lo""")
        if self.engine != "networkmanager":
            run("sh", "-ec", "ip addr add 10.99.0.2/24 dev near; ip addr add fd99::2/64 dev near; "
                "ip route add default via 10.99.0.254")

    def far(self, *command):
        return run("nsenter", "-t", str(self._far), "-n", *command)

    def start_far(self, *command, **options):
        return subprocess.Popen(["nsenter", "-t", str(self._far), "-n", *command], **options)

    def _configure_manager(self):
        shutil.rmtree("/etc/NetworkManager", ignore_errors=True)  # what this machine's does beside
        write("/nm/NetworkManager.conf", "[main]\nplugins=keyfile\nauth-polkit=false\nrc-manager=unmanaged\n"
              "[keyfile]\npath=/nm/connections\nunmanaged-devices=interface-name:lo\n")
        write("/nm/connections/wire.nmconnection",
              "[connection]\nid=wire\nuuid=5b4b3c1e-0f5d-4a77-9c07-8d9f5b4c2a11\ntype=ethernet\ninterface-name=near\n"
              "[ipv4]\nmethod=manual\naddress1=10.99.0.2/24,10.99.0.254\n"
              "[ipv6]\nmethod=manual\naddress1=fd99::2/64\naddr-gen-mode=eui64\n", 0o600)

    def start_manager(self):
        with open("/logs/manager", "a", encoding="utf-8") as log:
            begin = log.tell()
            self.manager = subprocess.Popen(["NetworkManager", "--debug", "--config=/nm/NetworkManager.conf",
                                             "--config-dir=/nm/none", "--system-config-dir=/nm/none"],
                                            stdout=log, stderr=log)
        # Then its connection is there as well.
        wait_for(lambda: "startup complete" in read("/logs/manager")[begin:], 15, lambda: read("/logs/manager"))

    def server(self, certificate="server", check="check", number=8, more=(), port=None):
        """Starts one, and says how clients are told of it."""
        port = port or next(self._ports)
        log = f"/logs/server-{port}"
        command = ["openvpn", "--cd", PKI, "--dev", "tun", "--port", str(port), "--ca", "ca.pem",
                   "--cert", f"{certificate}.pem", "--key", f"{certificate}.key", "--dh", "none",
                   "--script-security", "3", "--auth-user-pass-verify", f"{PKI}/{check}", "via-env",
                   "--client-connect", f"{PKI}/joined", "--keepalive", "1", "3", "--tmp-dir", "/logs", "--verb", "3"]
        more = more or ("--proto", "udp", "--topology", "subnet", "--server", f"10.{number}.0.0", "255.255.255.0",
                        "--push", f"route 10.{69 + number}.0.1 255.255.255.255",
                        "--push", "dhcp-option DNS 10.77.0.53", "--push", "dhcp-option DOMAIN lab.example")
        with open(log, "w", encoding="utf-8") as file:
            process = self.start_far(*command, *more, stdout=file, stderr=file)
        wait_for(lambda: "Initialization Sequence Completed" in read(log), 10, lambda: read(log))
        return process, f"10.99.0.1:{port}"

    def start_gateway(self, *options, temporary="/logs"):
        """Starts one. Returns its process and what it begins with: links and authority, and what follows a word."""
        process = subprocess.Popen([GATEWAY, *options, "--session-id", SESSION_ID, "--orgname", "Lab"],
                                   stdout=subprocess.PIPE, text=True, env={**os.environ, "TMPDIR": temporary})
        said = {}
        for words in map(str.split, process.stdout):
            said |= {words[0]: words[1:], words[-2]: words[-1]}
            if words[0] == "listening":
                return process, said
        raise AssertionError("the gateway did not start")

    def gateway(self, server, ticket=TICKET, served="served"):
        """Starts one that names this server. Returns what it begins with."""
        return self.start_gateway("--component", f"plugindll={BIN}/components/libnebrix-tunnel.so", "--server", server,
                                  "--server-name", "vpn.example", "--certificates", f"{PKI}/{served}", "--login",
                                  "alice", "--ticket", ticket, "--password", CERTIFICATE_PASSWORD)[1]

    def client(self, server, **gateway):
        return Client(self, self.gateway(server, **gateway))

    def processes(self):
        """Number and command of each that is alive, without what belongs to the servers and the gateways."""
        found, here = {}, os.readlink("/proc/self/ns/net")
        for number in map(int, filter(str.isdigit, os.listdir("/proc"))):
            try:
                command = read(f"/proc/{number}/cmdline").replace("\0", " ")
                if os.readlink(f"/proc/{number}/ns/net") == here and not command.startswith(GATEWAY):
                    found[number] = command
            except OSError:  # dead
                pass
        return found

    def files(self):
        """All that was written since the beginning, folders included."""
        return [os.path.join(folder, name)[len(self.written):]
                for folder, folders, names in os.walk(self.written) for name in folders + names]

    def state(self):
        """What a session must not change."""
        profiles = run("nmcli", "-t", "-f", "NAME,TYPE", "connection", "show") if self.manager else ""
        routes = run("ip", "-4", "route", "show", "table", "all") + run("ip", "-6", "route", "show", "table", "all")
        return {"interfaces": set(os.listdir("/sys/class/net")), "routes": set(routes.splitlines()),
                "processes": {command for command in self.processes().values()
                              if not re.search(r"/nm-(openvpn-service|dispatcher) ", command)},
                "profiles": set(profiles.splitlines()), "resolver": {read("/etc/resolv.conf")},
                "files": {path for path in self.files() if not KEPT.match(path)}}


class Client:
    """The headless client, and what it says."""

    def __init__(self, lab, links):
        write(f"{HOME}/.Nebrix/nebrixclient.xml", "<nebrixclient><sslcertignoredomains><domains>" + links["listening"] +
              "</domains></sslcertignoredomains></nebrixclient>")
        self._said = f"/logs/client-{time.monotonic()}"
        with open(self._said, "w", encoding="utf-8") as said:
            self.process = subprocess.Popen(
                [f"{BIN}/nebrixclient-cli", "--json", "-"], stdin=subprocess.PIPE, stdout=said,
                stderr=subprocess.DEVNULL, text=True,
                env={"PATH": os.environ["PATH"], "HOME": HOME, "NEBRIX_TUNNEL_ENGINE": lab.engine})
        self.process.stdin.write(links["plugindll"] + "\n")
        self.process.stdin.close()

    def _events(self, name):
        lines = [line for line in read(self._said).splitlines(keepends=True) if line.endswith("\n")]
        return [event for event in map(json.loads, lines) if event["event"] == name]

    def states(self):
        """The tunnel's states without repetitions."""
        return [text for text, _ in itertools.groupby(event.get("text", "") for event in self._events("vpn"))]

    def account(self):
        return next(iter(self._events("end")), None)

    def wait_for_state(self, start, seconds=10.0, after=0):
        """The first state that begins so, not counting as many."""
        def found():
            if self.process.poll() is not None:
                raise AssertionError(f"ended instead: {self}")
            return next((state for state in self.states()[after:] if state.startswith(start)), None)
        return wait_for(found, seconds, lambda: f"{start}: {self}")

    def wait_for_end(self, seconds):
        wait_for(lambda: self.process.poll() is not None, seconds, self.__str__)

    def end(self, number=signal.SIGTERM):
        """Within the two seconds that a session has for that."""
        self.process.send_signal(number)
        self.wait_for_end(2.0)

    def __str__(self):
        return f"states {self.states()}, account {self.account()}, log:\n{read(LOG)}"
