#!/usr/bin/python3
"""Real tunnels of nebrix-demo-gateway, with plain openvpn as the client, in namespaces of this test's own.

usage: tunnel_test.py PROGRAM
Exit status 77, and the reason, where this machine has not what it takes.
"""
import glob
import json
import os
import shutil
import signal
import socket
import ssl
import subprocess
import sys
import tempfile
import time
import urllib.request

INSIDE = "NEBRIX_TEST_INSIDE"
NAMESPACES = ["unshare", "--mount", "--net", "--pid", "--fork", "--kill-child", "--mount-proc"]
LOGIN, TICKET, PASSWORD = "planted login \u00fc", 'planted "tick\\et', "planted-password"


def await_true(condition, what):
    end = time.monotonic() + 20
    while not condition():
        assert time.monotonic() < end, what
        time.sleep(0.01)


class Gateway:
    """The program with a tunnel, in a folder of its own for temporary files."""

    def __init__(self, *words):
        self.temporary = tempfile.mkdtemp()
        self.output = open(f"{tempfile.mkdtemp()}/output", "a+", encoding="utf-8")  # the program appends, too
        self.process = subprocess.Popen([PROGRAM, "--tunnel", "--login", LOGIN, "--ticket", TICKET, "--password",
                                         PASSWORD, *words], stdout=self.output,
                                        env={**os.environ, "TMPDIR": self.temporary})
        await_true(lambda: self.lines("listening"), "the gateway does not start")
        (_, self.server_process, self.server, _, self.page), = (line.split() for line in self.lines("tunnel"))
        assert self.lines("component plugindll ")[0].endswith("/libnebrix-tunnel.so"), self.lines("")
        self.certificate = self.lines("certificate")[0].split()[1]
        self.mediation = self.lines("mediation plugindll ")[0].split()[2]

    def lines(self, start):
        self.output.seek(0)
        return [line for line in self.output.read().splitlines() if line.startswith(start)]

    def fetch(self, path):
        identifier, authority = self.mediation[len("https://"):].split("/")[0].split("@")
        request = urllib.request.Request(f"https://{authority}{path}", headers={"Cookie": f"Nebrix-Id={identifier}"})
        context = ssl.create_default_context(cafile=self.certificate)
        return urllib.request.urlopen(request, context=context, timeout=10).read()

    def traces(self):
        interfaces = {f"nebrix{self.page.split('.')[2]}"} & {name for _, name in socket.if_nameindex()}
        programs = {path for path in (f"/proc/{self.server_process}/exe",) if os.path.exists(path)}
        return interfaces | programs | set(os.listdir(self.temporary))

    def end(self, number):
        self.process.send_signal(number)
        assert self.process.wait(2) == (-number if number == signal.SIGKILL else 0), self.process.returncode
        end = time.monotonic() + (2 if number == signal.SIGKILL else 0)
        while self.traces() and time.monotonic() < end:
            time.sleep(0.01)
        assert not self.traces(), self.traces()


def connect(gateway):
    """A client that was told what the configuration says: the process and its log, once it is decided."""
    told = json.loads(gateway.fetch("/mediation/plugindll?clientversion=1"))["result"]
    folder = tempfile.mkdtemp()
    for file in told["certificates"].values():
        with open(f"{folder}/{file['filename']}", "wb") as copy:
            copy.write(gateway.fetch(file["urlpath"] + file["filename"]))
    for name, secret in ("user", f"{told['login']}\n{told['ticket']}\n"), ("password", told["certPassword"] + "\n"):
        with open(f"{folder}/{name}", "w", encoding="utf-8") as file:
            file.write(secret)
    host, port = told["server"].split("/")[0].split(":")
    client = subprocess.Popen(
        ["openvpn", "--client", "--dev", "tun", "--remote", host, port, told["server"].split("/")[1], "--ca", "ca.pem",
         "--pkcs12", "client.p12", "--askpass", "password", "--auth-user-pass", "user", "--nobind", "--verb", "3",
         "--remote-cert-tls", "server", "--verify-x509-name", told["sslservercertname"][0], "name", "--cd", folder,
         "--log", f"{folder}/log"])

    def log():
        with open(f"{folder}/log", encoding="utf-8") as file:
            return file.read()
    await_true(lambda: os.path.exists(f"{folder}/log"), "no client")
    await_true(lambda: "Sequence Completed" in log() or client.poll() is not None, "the client gets no answer")
    return client, log()


def tunnels_of_several_gateways():
    gateways = [Gateway(), Gateway("--tunnel-proto", "tcp", "--tunnel-port", "4443")]
    assert [gateway.server for gateway in gateways] == ["10.99.0.1:1194/udp", "10.99.1.1:4443/tcp"]
    for number, gateway in enumerate(gateways):
        behind = f"10.77.{number}.1"
        assert gateway.page == f"http://{behind}/"
        client, log = connect(gateway)
        assert f"route {behind} 255.255.255.255,dhcp-option DNS {behind}" in log, log
        page = urllib.request.urlopen(gateway.page, timeout=5).read().decode()
        assert page == f"This page came through the tunnel, to 10.88.{number}.2.\n", page
        assert gateway.lines("tunnel accepted: "), gateway.lines("")
        for place in glob.glob(f"/proc/{gateway.server_process}/[ce][mn][dv]*"):  # cmdline, environ
            with open(place, "rb") as file:
                assert b"planted" not in file.read(), place
        client.kill()
        client.wait()
    gateways[0].end(signal.SIGKILL)
    assert len(gateways[1].traces()) == 2, gateways[1].traces()  # and the other one stays
    gateways[1].end(signal.SIGTERM)


def strangers_are_refused():
    gateway = Gateway("--tunnel-ticket", "another")
    client, log = connect(gateway)
    assert "AUTH_FAILED,wrong login or ticket" in log and client.wait() is not None, log
    assert gateway.lines("tunnel refused: wrong login or ticket"), gateway.lines("")
    gateway.end(signal.SIGINT)


def what_is_missing_is_said_first():
    copy = shutil.copy(PROGRAM, tempfile.mkdtemp())
    os.chmod(os.path.dirname(copy), 0o755)
    for prepare, words in (("exec setpriv --reuid 65534", "a tunnel can only be made by root"),
                           ("mount -t tmpfs none /usr/sbin;", "needs /usr/sbin/openvpn, from the package openvpn"),
                           ("rm /dev/net/tun;", "needs /dev/net/tun, which cannot be opened")):
        command = f'mount -t tmpfs none /dev/net; mknod /dev/net/tun c 10 200; {prepare} "$0" --tunnel'
        run = subprocess.run(["unshare", "--mount", "sh", "-c", command, copy], capture_output=True, text=True)
        assert run.returncode == 1 and words in run.stderr and run.stderr.count("\n") == 1 and not run.stdout, run


if __name__ == "__main__":
    PROGRAM = os.path.abspath(sys.argv[1])
    if INSIDE not in os.environ:
        for holds, words in ((os.geteuid() == 0, "root"), (os.access("/dev/net/tun", os.W_OK), "/dev/net/tun"),
                             (os.path.exists("/usr/sbin/openvpn"), "openvpn"),
                             (not subprocess.run(NAMESPACES + ["true"], capture_output=True).returncode, "namespaces")):
            if not holds:
                print(f"skipped: a tunnel needs {words}, which is not to be had here")
                sys.exit(77)
        os.execvpe(NAMESPACES[0], NAMESPACES + [sys.executable, *sys.argv], {**os.environ, INSIDE: "yes"})
    subprocess.check_call(["mount", "-t", "tmpfs", "none", "/tmp"])
    subprocess.check_call(["ip", "link", "set", "lo", "up"])
    tunnels_of_several_gateways()
    strangers_are_refused()
    what_is_missing_is_said_first()
