#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Measures from outside how long programs leave their event loops unattended.

Every 20 ms each watched process gets a _NET_WM_PING (Extended Window Manager Hints), which GTK answers from its event
loop. Reads "watch PID" and "end PID" from standard input; answers the latter with a line: the longest time in
milliseconds from a ping to its answer, and the number of answers. Time in which a process of the chain was ready to run
and the machine gave it no processor is not counted. Watching begins with the first answer."""

import os
import select
import sys
import time

import Xlib.X
import Xlib.display
import Xlib.error
from Xlib.protocol.event import ClientMessage

INTERVAL = 0.02


def waited_for_processor(pid):
    try:
        with open(f"/proc/{pid}/task/{pid}/schedstat", encoding="ascii") as file:
            return int(file.read().split()[1]) / 1e9
    except (OSError, IndexError, ValueError):
        return 0.0


class Watched:
    def __init__(self, pid):
        self.pid = pid
        self.windows = []
        self.sent = {}  # number of the ping: time, and how long the chain had waited for processors
        self.answers = 0
        self.longest = 0.0

    def chain(self, server):
        return sum(waited_for_processor(pid) for pid in (self.pid, server, os.getpid()))


class Watchdog:
    def __init__(self, server):
        self.server = server
        self.display = Xlib.display.Display()
        self.display.set_error_handler(lambda error, request: None)
        self.root = self.display.screen().root
        self.root.change_attributes(event_mask=Xlib.X.SubstructureNotifyMask)
        self.atoms = {name: self.display.get_atom(name) for name in ("WM_PROTOCOLS", "_NET_WM_PING", "_NET_WM_PID")}
        self.watched = {}
        self.number = 1

    def windows_of(self, pid):
        """Windows of the process below the root, the ones that last longest (made first) in front."""
        found = []
        for child in self.root.query_tree().children:
            try:
                owner = child.get_full_property(self.atoms["_NET_WM_PID"], Xlib.X.AnyPropertyType)
                if owner is not None and owner.value[0] == pid:
                    found.append(child)
            except Xlib.error.XError:
                continue
        return sorted(found, key=lambda window: window.id)

    def ping(self, watched):
        if not watched.windows:
            watched.windows = self.windows_of(watched.pid)
        if not watched.windows:
            return
        self.number = self.number % 0x7FFFFFF0 + 1
        target = watched.windows[0]
        data = (32, [self.atoms["_NET_WM_PING"], self.number, target.id, 0, 0])
        target.send_event(ClientMessage(window=target, client_type=self.atoms["WM_PROTOCOLS"], data=data),
                          onerror=lambda error, request: self.forget(watched))
        watched.sent[self.number] = (time.monotonic(), watched.chain(self.server))

    @staticmethod
    def forget(watched):
        watched.windows = []
        watched.sent.clear()

    def answered(self, watched, sent, waited):
        gap = time.monotonic() - sent - max(0.0, watched.chain(self.server) - waited)
        watched.answers += 1
        if watched.answers > 1:
            watched.longest = max(watched.longest, gap)
        else:
            watched.sent.clear()  # what was asked before the loop began

    def read_events(self):
        while self.display.pending_events():
            event = self.display.next_event()
            if event.type != Xlib.X.ClientMessage or event.client_type != self.atoms["WM_PROTOCOLS"]:
                continue
            if event.data[1][0] != self.atoms["_NET_WM_PING"]:
                continue
            for watched in self.watched.values():
                sent = watched.sent.pop(event.data[1][1], None)
                if sent is not None:
                    self.answered(watched, *sent)

    def command(self, line):
        word, pid = line.split()
        if word == "watch":
            self.watched[int(pid)] = Watched(int(pid))
            return
        watched = self.watched.pop(int(pid))
        if os.path.exists(f"/proc/{pid}/exe") and watched.answers > 0:
            for sent in watched.sent.values():
                self.answered(watched, *sent)
        print(f"{watched.longest * 1000:.1f} {watched.answers}", flush=True)

    def run(self):
        following = time.monotonic()
        rest = b""
        while True:
            patience = max(0.0, following - time.monotonic())
            ready, _, _ = select.select([0, self.display.fileno()], [], [], patience)
            self.read_events()
            if 0 in ready:
                piece = os.read(0, 4096)
                if not piece:
                    return
                *lines, rest = (rest + piece).split(b"\n")
                for line in lines:
                    self.command(line.decode())
            if time.monotonic() >= following:
                following = time.monotonic() + INTERVAL
                for watched in self.watched.values():
                    self.ping(watched)
                self.display.flush()


if __name__ == "__main__":
    Watchdog(int(sys.argv[1])).run()
