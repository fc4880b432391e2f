# SPDX-License-Identifier: Apache-2.0
"""A Wayland desktop of the tests' own: the compositor sway without a screen, its XWayland, and a keyboard and a mouse that
the test plays."""

import json
import os
import shutil
import socket
import struct
import subprocess
import tempfile
import time
import unittest

from desktop import Desktop, wait_for

NOBODY = 65534
X_SOCKETS = "/tmp/.X11-unix"
GET_TREE = 4
BACKGROUND = bytes.fromhex("4a6a8a")
CONFIGURATION = """
output * resolution {}x{} position 0,0
output * bg #{} solid_color
seat * hide_cursor 1
xwayland force
exec /usr/bin/python3 started.py
"""
# XWayland lets nobody in but its own user.
STARTED = """
import os, Xlib.display
display = Xlib.display.Display()
display.change_hosts(0, 5, b"localuser\\0root")
display.sync()
with open("started.new", "w") as file:
    file.write(" ".join(os.environ[name] for name in ("DISPLAY", "WAYLAND_DISPLAY", "SWAYSOCK")))
os.rename("started.new", "started")
"""
KEYMAP = b"""xkb_keymap { xkb_keycodes { include "evdev" }; xkb_types { include "complete" };
xkb_compat { include "complete" }; xkb_symbols { include "pc+us" }; };\0"""
KEYS = {"Escape": 1, "Return": 28}
LEFT_BUTTON = 0x110


def now():
    return time.monotonic_ns() // 1000000 & 0xffffffff


class Seat:
    """A keyboard and a mouse that stay plugged in (virtual-keyboard-unstable-v1, wlr-virtual-pointer-unstable-v1), over
    the wire. What was done has reached the compositor when a method returns."""

    def __init__(self, path, screen):
        self._screen = screen
        self._socket = socket.socket(socket.AF_UNIX)
        self._socket.connect(path)
        self._last = 1
        registry = self._create(1, 1)
        names = self._sync(registry)

        def bind(interface):
            text = interface.encode() + b"\0"
            text = struct.pack("I", len(text)) + text + bytes(-len(text) % 4)
            return self._create(registry, 0, struct.pack("I", names[interface]) + text + struct.pack("I", 1))
        seat = struct.pack("I", bind("wl_seat"))
        self._keyboard = self._create(bind("zwp_virtual_keyboard_manager_v1"), 0, seat)
        self._mouse = self._create(bind("zwlr_virtual_pointer_manager_v1"), 0, seat)
        with tempfile.TemporaryFile() as file:
            file.write(KEYMAP)
            file.flush()
            self._send(self._keyboard, 0, struct.pack("II", 1, len(KEYMAP)), [file.fileno()])
        self._sync()

    def _send(self, target, request, arguments=b"", descriptors=()):
        head = struct.pack("II", target, (8 + len(arguments)) << 16 | request)
        socket.send_fds(self._socket, [head + arguments], descriptors)

    def _create(self, target, request, arguments=b""):
        self._last += 1
        self._send(target, request, arguments + struct.pack("I", self._last))
        return self._last

    def _sync(self, registry=None):
        """Waits until the compositor has come so far; what it has announced meanwhile, by interface."""
        done, names = self._create(1, 0), {}
        while True:
            sender, word = struct.unpack("II", self._socket.recv(8, socket.MSG_WAITALL))
            event = self._socket.recv((word >> 16) - 8, socket.MSG_WAITALL)
            if sender == done:
                return names
            assert sender != 1 or word & 0xffff, event
            if sender == registry:
                name, length = struct.unpack_from("II", event)
                names[event[8:7 + length].decode()] = name

    def move_mouse(self, x, y):
        for before in (1, 0):  # a menu opens its eyes with the first movement over it
            self._send(self._mouse, 1, struct.pack("IIIII", now(), max(0, x - before), y, *self._screen))
            self._send(self._mouse, 4)
        self._sync()

    def click(self):
        for pressed in (1, 0):
            self._send(self._mouse, 2, struct.pack("III", now(), LEFT_BUTTON, pressed))
            self._send(self._mouse, 4)
        self._sync()

    def key(self, name):
        for pressed in (1, 0):
            self._send(self._keyboard, 1, struct.pack("III", now(), KEYS[name], pressed))
        self._sync()


class NativeWindow:
    """What the compositor says of one."""

    shown = True

    def __init__(self, node):
        self.title = node["name"] or ""
        self.focused = node["focused"]
        outer, inner = node["rect"], node["window_rect"]
        self.rect = (outer["x"] + inner["x"], outer["y"] + inner["y"], inner["width"], inner["height"])


class Compositor:
    """One sway, with its XWayland; `environment` is what programs need to show something there."""

    def __init__(self, desktop):
        directory = tempfile.mkdtemp(dir=desktop.directory)
        for name, text in (("config", CONFIGURATION.format(*desktop.screen, BACKGROUND.hex())), ("started.py", STARTED)):
            with open(os.path.join(directory, name), "w", encoding="utf-8") as file:
                file.write(text)
        command = ["sway", "--config", "config"]
        if os.getuid() == 0:  # as which it refuses to run
            os.makedirs(X_SOCKETS, exist_ok=True)
            os.chmod(X_SOCKETS, 0o1777)
            os.chmod(desktop.directory, 0o711)
            os.chown(directory, NOBODY, NOBODY)
            command = ["setpriv", f"--reuid={NOBODY}", f"--regid={NOBODY}", "--clear-groups", "--pdeathsig=KILL", *command]
        with open(os.path.join(directory, "log"), "w", encoding="utf-8") as log:
            self.process = desktop.start(command, cwd=directory, stderr=log, env={
                "XDG_RUNTIME_DIR": directory, "HOME": directory, "WLR_BACKENDS": "headless", "WLR_RENDERER": "pixman",
                "WLR_LIBINPUT_NO_DEVICES": "1"})
        started = os.path.join(directory, "started")
        wait_for(lambda: os.path.exists(started) or self.process.poll() is not None, 20, "compositor")
        with open(started if os.path.exists(started) else log.name, encoding="utf-8") as file:
            answer = file.read()
        assert self.process.poll() is None, answer
        display, wayland, self._control = answer.split()
        self.environment = {"DISPLAY": display, "WAYLAND_DISPLAY": os.path.join(directory, wayland)}

    def windows(self):
        """Of each window that the compositor manages its process, whether it speaks X11, and what it looks like."""
        with socket.socket(socket.AF_UNIX) as control:
            control.connect(self._control)
            control.sendall(b"i3-ipc" + struct.pack("II", 0, GET_TREE))
            length = struct.unpack("=6xII", control.recv(14, socket.MSG_WAITALL))[0]
            waiting = [json.loads(control.recv(length, socket.MSG_WAITALL))]
        found = []
        for node in waiting:
            waiting += node["nodes"] + node["floating_nodes"]
            if "shell" in node:
                found.append((node["pid"], node["shell"] == "xwayland", NativeWindow(node)))
        return found


class WaylandDesktop(Desktop):
    def start_display(self):
        if not shutil.which("sway"):
            raise unittest.SkipTest("no sway here, which scripts/setup.sh installs")
        self.compositor = Compositor(self)
        self.environment.update(self.compositor.environment)
        self.seat = Seat(self.environment["WAYLAND_DISPLAY"], self.screen)
        return self.compositor.process.pid

    def start_window_manager(self, tray):
        """The compositor is one."""

    def windows(self, pid, below=None, depth=5):
        managed = [] if below else self.compositor.windows()
        return [window for owner, x11, window in managed if owner == pid and not x11] + super().windows(pid, below, depth)

    def focus(self):
        """Process and title of the window that has the keyboard."""
        return next(((owner, window.title) for owner, _, window in self.compositor.windows() if window.focused), None)

    def click(self, place, button=1):
        self.move_mouse(*(place if isinstance(place, tuple) else place.middle()))
        self.seat.click()

    def move_mouse(self, x, y):
        self.seat.move_mouse(x, y)

    def key(self, *keys):
        for key in keys:
            self.seat.key(key)

    def pixel(self, x, y):
        """Red, green and blue of a place of the screen."""
        return subprocess.check_output(["grim", "-t", "ppm", "-g", f"{x},{y} 1x1", "-"], env=self.environment)[-3:]

    def screenshot(self, name):
        subprocess.run(["grim", self.screenshot_path(name)], env=self.environment, check=True)
