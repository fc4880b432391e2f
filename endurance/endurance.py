#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Whole headless sessions against a gateway on loopback, each type of component, that must end well whatever happens.

torture  Each allocation and each system call of one program fails once, by its turn (preload.c). The session then ends
         in success or in words, within its time. The calls are counted first; of those from the same stack the first
         and the last fails, with --all each. What dies inside a library of the system's is listed.
kills    SIGKILL at random moments for the client, for the process of its component, and for a program that saves the
         settings all the time. All rounds share their homes, so that what earlier ones left is there.
polls    A plug-in is polled without a pause; memory, descriptors and threads of every process, early and late.

After each run no process is left, the settings are whole, and the next session in the same home works at once."""

import argparse
import collections
import contextlib
import ctypes
import os
import random
import re
import select
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time
import xml.etree.ElementTree

BIN = os.environ["NEBRIX_BIN"]
HELPERS = os.path.join(BIN, "test-components")
CLIENT, HOST = "nebrixclient-cli", "nebrix-component-host"
LONGEST, LONGEST_QUIT, AT_ONCE = 10, 3, 3  # seconds
LAST_CALL = {"plugindll": "DllStop2", "plugindllnotunnel": "LaunchSafeResource", "hostchecker": "CloseHostCheckerDll"}
LOG = "/tmp/nebrixclient.log"
HEADER = 4096  # bytes of a report
CONNECTED = '{"code": 5, "status": "connected"}'
ctypes.CDLL(None).prctl(36, 1)  # PR_SET_CHILD_SUBREAPER: orphans of what is started here become its children


def read(path):
    try:
        with open(path, "rb") as file:
            return file.read()
    except OSError:
        return b""


def write(path, text):
    with open(path + ".new", "wb") as file:
        file.write(text)
    os.rename(path + ".new", path)


def below(pid):
    """The processes that one has started and inherited, and those below them, each with its (cut) name."""
    found = {}
    for child in [int(word) for task in os.listdir(f"/proc/{pid}/task")
                  for word in read(f"/proc/{pid}/task/{task}/children").split()] if os.path.exists(f"/proc/{pid}") else []:
        found[child] = read(f"/proc/{child}/comm").decode().strip()
        found.update(below(child))
    return found


class Place:
    """A gateway, and a home whose settings have every field."""

    def __init__(self, directory, *options):
        self.home = tempfile.mkdtemp(dir=directory)
        self.settings = os.path.join(self.home, ".Nebrix", "nebrixclient.xml")
        self.status = os.path.join(self.home, "status")
        recorders = [f"--component={kind}={HELPERS}/libtest-{'hostchecker' if kind == 'hostchecker' else 'plugin'}.so"
                     for kind in LAST_CALL]
        self.gateway = subprocess.Popen([os.path.join(BIN, "nebrix-demo-gateway"), "--timer=0", "--continue=0", *recorders,
                                         *options], text=True, stdout=subprocess.PIPE, env=dict(os.environ, TMPDIR=directory))
        self.urls = {}
        for line in self.gateway.stdout:
            words = line.split()
            self.urls[words[-2]] = words[-1]
            if words[0] == "listening":
                self.authority = words[1]
                break
        self.renew()

    def renew(self, state=f"[{CONNECTED}]"):
        """Empties the home. `state`: what a plug-in answers when it is polled."""
        shutil.rmtree(os.path.dirname(self.settings), ignore_errors=True)
        os.makedirs(os.path.dirname(self.settings))
        write(self.settings, f"<nebrixclient><sslcertignoredomains><domains>{self.authority}</domains></sslcertignoredomains>"
              "<proxy><credentials><login>kept</login><password>p</password><domain/></credentials></proxy>"
              "</nebrixclient>".encode())
        write(self.status, state.encode() + b"\n")

    def files(self):
        return frozenset((name, len(read(os.path.join(path, name))))
                         for path, _, names in os.walk(self.home) for name in names if name != "calls")

    def leftovers(self, mark):
        return [f"left {name}" for _, directories, names in os.walk(self.home) for name in directories + names if mark in name]

    def damage(self):
        """What is wrong with the settings."""
        try:
            root = xml.etree.ElementTree.fromstring(read(self.settings))
            lost = root.findtext("sslcertignoredomains/domains"), root.findtext("proxy/credentials/login")
            return [] if lost == (self.authority, "kept") else [f"settings lost: {lost}"]
        except xml.etree.ElementTree.ParseError as problem:
            return [f"settings: {problem}"]


class Session:
    def __init__(self, place, kind, stops=False, wrapper=(), **env):
        """`stops`: whether it is told to end once its plug-in is connected."""
        self.place, self.kind, self.others = place, kind, set(below(os.getpid()))
        # Where the host checker too may write.
        self.calls = os.path.join(place.home, ".Nebrix", "hostchecker" if kind == "hostchecker" else "Plugin", "calls")
        if os.path.exists(self.calls):
            os.unlink(self.calls)
        self.process = subprocess.Popen(
            [*wrapper, os.path.join(BIN, CLIENT), "--", place.urls[kind]], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
            stderr=subprocess.PIPE, env={**os.environ, "HOME": place.home, "NEBRIX_TEST_STATUS": place.status,
                                         "NEBRIX_TEST_CALLS": self.calls, **env})
        if stops:
            self.stop_once_connected()

    def stop_once_connected(self):
        output, seen, until = self.process.stdout.fileno(), b"", time.monotonic() + LONGEST
        while b"connected" not in seen and select.select([output], [], [], max(0.0, until - time.monotonic()))[0]:
            piece = os.read(output, 4096)
            seen += piece
            if not piece:
                return
        self.process.terminate()

    def ran(self):
        """Whether the component was called to the end."""
        return LAST_CALL[self.kind].encode() in read(self.calls)

    def finish(self):
        """Its exit status, what it said on standard error, and what is wrong with its end."""
        wrong = []
        try:
            errors = self.process.communicate(timeout=LONGEST)[1]
        except subprocess.TimeoutExpired:
            stacks = subprocess.run(["gdb", "-p", str(self.process.pid), "-batch", "-ex", "thread apply all backtrace 40"],
                                    stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, check=False).stdout
            self.process.terminate()
            try:
                errors = self.process.communicate(timeout=LONGEST_QUIT)[1]
                wrong.append("hung until it was told to end\n" + stacks)
            except subprocess.TimeoutExpired:
                self.process.kill()
                errors = self.process.communicate()[1]
                wrong.append("hung\n" + stacks)
        until = time.monotonic() + 2
        while (left := {pid: name for pid, name in below(os.getpid()).items() if pid not in self.others}):
            for pid, name in left.items():
                if time.monotonic() > until:
                    wrong.append(f"left {name} running")
                    os.kill(pid, signal.SIGKILL)
                try:
                    os.waitpid(pid, os.WNOHANG)
                except ChildProcessError:
                    pass  # not yet a child of this process
            time.sleep(0.002)
        return self.process.returncode, errors.decode(errors="replace"), wrong + self.place.damage()

    def next(self):
        """What is wrong with the session after this one, which lasts until it is told to end."""
        write(self.place.status, f"[{CONNECTED}]".encode())
        began = time.monotonic()
        session = Session(self.place, self.kind, stops=self.kind == "plugindll")
        code, errors, wrong = session.finish()
        if code != 0 or not session.ran() or time.monotonic() - began > AT_ONCE:
            wrong.append(f"the next session: {code} {errors} after {time.monotonic() - began:.1f} s")
        return wrong + self.place.leftovers(".unpacking-")


class Torture:
    # The plug-in asks for the end itself, or is told.
    TYPES = {"plugindll": f'[{CONNECTED}, {{"code": 8, "reason": 1}}]', "stopped": f"[{CONNECTED}]",
             "plugindllnotunnel": "[]", "hostchecker": "[]"}
    ENDS = {"plugindll": 1}  # exit status of a session without a fault: it asks for its end at once
    SYSTEM = re.compile(r"/(?:lib|usr)/.*/([^/]*\.so[^(]*)")
    RUNTIME = re.compile(r"/(libc|libstdc\+\+|libgcc_s)\.so|libpreload")
    COMPONENT = re.compile(r"/libtest-|/memfd:|/fd/")

    def __init__(self, directory, program):
        self.place, self.program = Place(directory), program
        self.working = set()  # states of a home in which the next session is known to work

    def run(self, kind, type_, at=0, **env):
        self.place.renew(self.TYPES[type_])
        report = os.path.join(self.place.home, "report")
        write(report, bytes(HEADER))
        session = Session(self.place, "plugindll" if type_ == "stopped" else type_, type_ == "stopped",
                          ["setarch", "-R"] if env else [], LD_PRELOAD=os.path.join(HELPERS, "libpreload.so"),
                          NEBRIX_FAIL_PROGRAM=self.program, NEBRIX_FAIL_KIND=kind, NEBRIX_FAIL_AT=str(at),
                          NEBRIX_FAIL_REPORT=report, **env)
        result = session.finish()
        content = read(report)
        os.unlink(report)
        return session, result, struct.unpack_from("Q", content)[0], content[HEADER:].decode(errors="replace")

    def places(self, kind, type_, every):
        session, (code, errors, wrong), count, text = self.run(kind, type_, NEBRIX_FAIL_STACKS="1")
        if code != self.ENDS.get(type_, 0) or wrong or not session.ran():
            sys.exit(f"{kind} {type_}: the session fails without a fault: {code} {errors} {wrong}")
        self.working.add(self.place.files())
        calls = [(int(words[1]), words[2]) for words in map(str.split, text.splitlines()) if len(words) == 3]
        ends = {stack: n for n, stack in reversed(calls)}, {stack: n for n, stack in calls}
        print(f"{kind} {type_}: {count} calls from {len(ends[0])} places", end=", ", flush=True)
        return list(range(1, count + 1)) if every else sorted({n for end in ends for n in end.values()})

    def judge(self, kind, type_, at):
        """What is wrong, which library of the system's it is about, and which call failed where."""
        session, (code, errors, wrong), _, report = self.run(kind, type_, at)
        failed, _, death = report.partition("died")
        if wrong and "told to end" in wrong[0] and "in curl_easy_perform" in wrong[0]:
            return [], "libcurl waits for its own limit", report
        if death:
            frame = next((frame for frame in death.splitlines()[1:] if not self.RUNTIME.search(frame)), "")
            if library := self.SYSTEM.match(frame):
                return wrong, f"{library[1]} dies", report
            wrong.append("died")
        elif code < 0 and not wrong:
            wrong.append(f"died of signal {-code}")
        if not wrong and code not in (0, 1, 3, 127):
            wrong.append(f"exit status {code}")
        elif code == 0 and not session.ran() and not re.search(rb" ERROR | WARN", read(LOG)) and not self.COMPONENT.search(failed):
            wrong.append("success without its component")
        elif code > 0 and not errors.strip():
            wrong.append("no words")
        if b", which stays" not in read(LOG):  # the next session would tidy up
            wrong += self.place.leftovers(".unpacking-") + self.place.leftovers(".saving-")
        files = self.place.files()
        if not wrong and files not in self.working:
            wrong += session.next()
            self.working.add(files)
        return wrong, "", f"{errors}{report}"

    def all(self, options):
        part, parts = map(int, options.part.split("/"))
        faults, listed = 0, collections.Counter()
        for kind in options.kind or ("memory", "system", "signal"):
            for type_ in options.type or self.TYPES:
                chosen = self.places(kind, type_, options.all)
                stride = parts * max(1, len(chosen) // options.sample if options.sample else 1)
                chosen, hits = [int(n) for n in options.runs.split(",") if n] or chosen[part * stride // parts::stride], 0
                for at in chosen:
                    wrong, library, report = self.judge(kind, type_, at)
                    hits += "failed " in report
                    faults += bool(wrong)
                    listed[library] += 1
                    if wrong or library and listed[library] == 1 or options.runs:
                        print(f"\n{'FAULT' if wrong else 'LISTED'} {kind} {type_} {at}: {wrong or library}\n{named(report)}")
                print(f"{hits} of {len(chosen)} failed", flush=True)
        print("\n".join(f"listed: {text}, {n} times" for text, n in listed.items() if text))
        return faults


def named(report):
    """With functions and lines in the build's own programs."""
    def name(match):
        return subprocess.run(["addr2line", "-Cfpse", match[1], match[2]], check=False, text=True,
                              stdout=subprocess.PIPE).stdout.rstrip()
    return re.sub(rf"^({re.escape(BIN)}\S+)\(\+(0x[0-9a-f]+)\).*$", name, report, flags=re.M)


class Kills:
    def __init__(self, directory, seed):
        print(f"seed {seed}", flush=True)
        self.random, self.tally = random.Random(seed), collections.Counter()
        # Each with the seconds of a session. The second one has longer downloads.
        self.places = (Place(directory), 0.09), (Place(directory, "--fault=slow", "--pause=4"), 0.3)

    @staticmethod
    def phase(session):
        calls, files = read(session.calls), {name for name, _ in session.place.files()}
        if session.process.poll() is not None:
            return "ended"
        if calls:
            return "stopping" if session.ran() else "polling" if b"GetErrors2" in calls else "starting"
        if "unzip" in below(session.process.pid).values():
            return "unpacking"
        return "loading" if any(name.endswith(".so") for name in files) else "downloading" if "zip" in str(files) else "asking"

    def round(self, victim):
        place, length = self.random.choice(self.places)
        kind = self.random.choice(list(LAST_CALL))
        if self.random.random() < 0.8:  # else the component is there
            shutil.rmtree(os.path.join(place.home, ".Nebrix", "Plugin"), ignore_errors=True)
            shutil.rmtree(os.path.join(place.home, ".Nebrix", "hostchecker"), ignore_errors=True)
        session = Session(place, kind, kind == "plugindll" and self.random.random() < 0.4)
        time.sleep(self.random.uniform(0, 0.02 if read(session.calls) else length))
        session.process.send_signal(signal.SIGSTOP)  # so that it goes no further between the look and the kill
        phase, killed = self.phase(session), 0
        for pid in [session.process.pid] if victim == CLIENT else \
                [pid for pid, name in below(session.process.pid).items() if name and HOST.startswith(name)]:
            with contextlib.suppress(ProcessLookupError):
                os.kill(pid, signal.SIGKILL)
                self.tally[f"{victim} {phase}"] += 1
                killed += 1
        session.process.send_signal(signal.SIGCONT)
        if kind == "plugindll":
            session.process.terminate()  # where there was nobody to kill
        code, errors, wrong = session.finish()
        # Unless it was told to end, which is then the end that it tells of, or had ended already.
        wanted = kind == "plugindll" or phase not in ("asking", "downloading", "unpacking") or not killed
        if victim == HOST and (code not in ((0, 1, -signal.SIGTERM) if wanted else (1,)) or code == 1 and not errors.strip()):
            wrong.append(f"the client: {code} {errors}")
        return [f"{victim}, {kind}, {phase}: {fault}" for fault in wrong + session.next()]

    def save(self):
        """A saver removes what the one before it left before it creates anything."""
        place = self.places[0][0]
        with subprocess.Popen([os.path.join(HELPERS, "savesettings"), place.settings]) as saver:
            time.sleep(self.random.uniform(0, 0.05))
            saver.kill()
        self.tally["saving"] += 1
        left = place.leftovers(".saving-")
        return place.damage() + (left if len(left) > 1 else [])

    def all(self, rounds):
        faults = 0
        for number in range(rounds):
            for fault in self.round(CLIENT) + self.round(HOST) + self.save():
                faults += 1
                print(f"FAULT round {number}: {fault}", flush=True)
        print("\n".join(f"{n} kills: {text}" for text, n in sorted(self.tally.items())))
        return faults


def polls(directory, number):
    states = [f"[{CONNECTED}]", '[{"code": 5, "status": "reconnecting"}]', f'[{CONNECTED}, {{"code": {{}}}}, 7]',
              '[{"code": 5, "status": "' + "long " * 200 + '"}]']
    place = Place(directory)
    session = Session(place, "plugindll", LD_PRELOAD=os.path.join(HELPERS, "libpreload.so"), NEBRIX_HURRY_PROGRAM=CLIENT,
                      NEBRIX_TEST_CALLS="")
    figures, polled, faults = {}, 0, 0
    for line in session.process.stdout:  # one for each poll
        polled += line.startswith(b"vpn")
        if polled % (number // 100) == 0:
            write(place.status, states[polled * 100 // number % len(states)].encode() + b"\n")
        if polled in (number // 5, number):
            for pid in (session.process.pid, *below(session.process.pid)):
                fields = dict(line.split(b":", 1) for line in read(f"/proc/{pid}/status").splitlines())
                figures.setdefault(pid, []).append((int(fields[b"RssAnon"].split()[0]), len(os.listdir(f"/proc/{pid}/fd")),
                                                    int(fields[b"Threads"])))
        if polled == number:
            break
    session.process.terminate()
    code, errors, wrong = session.finish()
    print(f"{polled} polls, exit status {code} {errors}{wrong}")
    for pid, (early, late) in figures.items():
        print(f"KiB of memory, descriptors, threads after a fifth {early}, at the end {late}")
        faults += late[0] > early[0] + 64 or late[1:] != early[1:]
    return faults + len(wrong) + (code != 0 or polled < number)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("what", choices=("torture", "kills", "polls"))
    parser.add_argument("--number", type=int, help="of rounds, or of polls")
    parser.add_argument("--seed", type=int, default=int(time.time()), help="of the kills")
    parser.add_argument("--program", choices=(CLIENT, HOST), default=CLIENT, help="whose calls fail")
    parser.add_argument("--kind", action="append", help="memory, system or signal")
    parser.add_argument("--type", choices=Torture.TYPES, action="append")
    parser.add_argument("--all", action="store_true", help="each call, not only two from each place")
    parser.add_argument("--sample", type=int, help="so many calls of each kind and type")
    parser.add_argument("--part", default="0/1", help="K/N: a share, for several runs at once, each with its own /tmp")
    parser.add_argument("--runs", default="", help="the numbers of the calls that fail")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as directory:
        try:
            if options.what == "torture":
                faults = Torture(directory, options.program).all(options)
            elif options.what == "kills":
                faults = Kills(directory, options.seed).all(options.number or 1000)
            else:
                faults = polls(directory, options.number or 1000000)
        finally:
            for pid in below(os.getpid()):
                os.kill(pid, signal.SIGTERM)
    sys.exit(faults != 0)


if __name__ == "__main__":
    main()
