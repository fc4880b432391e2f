# SPDX-License-Identifier: Apache-2.0
"""A desktop of the tests' own: X server, session bus with its accessibility bus, window manager and, if wanted, a bar
with a tray. One per test program; everything it started is gone when it closes, and when the test program dies."""

import ctypes
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time

import Xlib.X
import Xlib.Xatom
import Xlib.display
import Xlib.error
from Xlib.ext import shape

TIME_FACTOR = float(os.environ.get("NEBRIX_GUI_TIME_FACTOR", "1"))  # more than 1 for slow builds
SCREEN = (1280, 800)
TRAY_HEIGHT = 32
PR_SET_PDEATHSIG, PR_SET_CHILD_SUBREAPER = 1, 36
prctl = ctypes.CDLL(None).prctl

# At the top, so that the work area does not begin at the screen's edge.
TINT2 = f"""
panel_items = S
panel_size = 100% {TRAY_HEIGHT}
panel_position = top center horizontal
panel_layer = normal
strut_policy = follow_size
wm_menu = 0
systray_padding = 4 4 4
systray_icon_size = 24
"""


def wait_for(condition, seconds=8.0, what=None):
    """The condition's first true value; polls, and fails after so many seconds."""
    end = time.monotonic() + seconds * TIME_FACTOR
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise AssertionError(f"not within {seconds} s: {what or getattr(condition, '__doc__', None) or condition}")
        time.sleep(0.015)


def wait_until_steady(look, what):
    """What it sees, once it sees something that is the same eight times."""
    seen = []

    def steady():
        seen.append(look())
        return seen[-1] if seen[-8:] == [seen[-1]] * 8 else None
    return wait_for(steady, what=what)


def ends_with_the_tests():
    prctl(PR_SET_PDEATHSIG, signal.SIGKILL)


class Window:
    """A window as it was when it was looked at. `rect` is x, y, width, height on the screen, without decoration."""

    def __init__(self, xwindow, pid, display):
        self.id = xwindow.id
        self.pid = pid
        self._x = xwindow
        self._display = display
        self.shown = xwindow.get_attributes().map_state == Xlib.X.IsViewable
        size = xwindow.get_geometry()
        place = xwindow.translate_coords(display.screen().root, 0, 0)
        self.rect = (-place.x, -place.y, size.width, size.height)
        self.title = self.property("_NET_WM_NAME") or ""

    def property(self, name):
        value = self._x.get_full_property(self._display.get_atom(name), Xlib.X.AnyPropertyType)
        if value is None:
            return None
        return value.value.decode() if isinstance(value.value, bytes) else list(value.value)

    def states(self):
        return [self._display.get_atom_name(atom) for atom in self.property("_NET_WM_STATE") or []]

    def middle(self):
        x, y, width, height = self.rect
        return x + width // 2, y + height // 2

    def shape_rectangles(self):
        return [(r.x, r.y, r.width, r.height) for r in self._x.shape_get_rectangles(shape.SK.Bounding).rectangles]


class Desktop:
    bar_options = TINT2

    def __init__(self, tray=True, gtk_settings="", screen=SCREEN):
        prctl(PR_SET_CHILD_SUBREAPER, 1)
        signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # so that everything is cleaned up then too
        self._children = []
        self.screen = screen
        self.directory = tempfile.mkdtemp(prefix="nebrix-gui-")
        try:
            self._start(tray, gtk_settings)
        except BaseException:
            self.close()
            raise

    def _start(self, tray, gtk_settings):
        self.environment = {name: os.environ[name] for name in ("PATH", "LSAN_OPTIONS") if name in os.environ}
        self.environment["LANG"] = "C.UTF-8"
        self.environment["GSETTINGS_BACKEND"] = "memory"
        self.set_home(os.path.join(self.directory, "desktop"))
        runtime = os.path.join(self.directory, "run")
        os.mkdir(runtime, 0o700)
        self.environment["XDG_RUNTIME_DIR"] = runtime
        config = os.path.join(self.environment["HOME"], ".config")
        os.makedirs(os.path.join(config, "gtk-3.0"))
        with open(os.path.join(config, "gtk-3.0", "settings.ini"), "w", encoding="utf-8") as file:
            file.write("[Settings]\n" + gtk_settings)
        self.gtk_config = config

        self.server_pid = self.start_display()
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = self._start_and_read(
            lambda fd: ["dbus-daemon", "--session", "--nofork", "--nopidfile", f"--print-address={fd}"])
        self.display = Xlib.display.Display(self.environment["DISPLAY"])
        self.root = self.display.screen().root
        self.bar = None
        self.start_window_manager(tray)

    def start_display(self):
        """The server's process."""
        number = self._start_and_read(lambda fd: ["Xvfb", "-displayfd", str(fd), "-nolisten", "tcp", "-noreset",
                                                  "-screen", "0", f"{self.screen[0]}x{self.screen[1]}x24"])
        self.environment["DISPLAY"] = ":" + number
        return self._children[-1].pid

    def start_window_manager(self, tray):
        self.root.change_attributes(background_pixel=0x4A6A8A)
        self.root.clear_area()
        self.start(["openbox", "--sm-disable"])
        wait_for(lambda: self.work_area()[2:] == self.screen and self.task_list() is not None, what="window manager")
        self.bar = self.start_bar() if tray else None
        self.bar_windows = self.windows(self.bar.pid) if tray else []

    def set_home(self, home):
        os.makedirs(home, exist_ok=True)
        self.environment["HOME"] = home

    def _start_and_read(self, command):
        reader, writer = os.pipe()
        self.start(command(writer), pass_fds=[writer])
        os.close(writer)
        with os.fdopen(reader, encoding="utf-8") as answer:
            line = answer.readline().strip()
        assert line, f"{command(0)[0]} did not start"
        return line

    def start(self, command, env=None, **options):
        """Starts a program that lives no longer than this desktop."""
        options.setdefault("stdout", subprocess.DEVNULL)
        options.setdefault("stderr", subprocess.DEVNULL)
        process = subprocess.Popen(command, env={**self.environment, **(env or {})}, stdin=options.pop("stdin", None),
                                   preexec_fn=ends_with_the_tests, start_new_session=True, **options)
        self._children.append(process)
        return process

    def start_bar(self):
        """A bar whose only item is an X11 tray."""
        path = os.path.join(self.directory, "tint2rc")
        with open(path, "w", encoding="utf-8") as file:
            file.write(self.bar_options)
        bar = self.start(["tint2", "-c", path])
        selection = self.display.get_atom("_NET_SYSTEM_TRAY_S0")
        wait_for(lambda: self.display.get_selection_owner(selection) != Xlib.X.NONE, what="tray")
        wait_for(lambda: self.work_area()[3] == self.screen[1] - TRAY_HEIGHT, what="work area beside the bar")
        return bar

    # Looking.

    def root_property(self, name):
        value = self.root.get_full_property(self.display.get_atom(name), Xlib.X.AnyPropertyType)
        return None if value is None else list(value.value)

    def work_area(self):
        return tuple((self.root_property("_NET_WORKAREA") or [0, 0, 0, 0])[:4])

    def windows(self, pid, below=None, depth=5):
        """Every window that says it is of the process, also those that are not shown."""
        found = []
        try:
            children = (below or self.root).query_tree().children
        except Xlib.error.XError:
            return found
        for child in children:
            try:
                owner = child.get_full_property(self.display.get_atom("_NET_WM_PID"), Xlib.X.AnyPropertyType)
                if owner is not None and owner.value[0] == pid:
                    found.append(Window(child, pid, self.display))
                elif depth > 0:
                    found += self.windows(pid, child, depth - 1)
            except Xlib.error.XError:
                continue  # gone meanwhile
        return found

    def tray_icons(self, pid):
        """The process's windows that are embedded in the bar."""
        if self.bar is None:
            return []
        bars = [self.display.create_resource_object("window", window.id) for window in self.bar_windows]
        return [icon for bar in bars for icon in self.windows(pid, bar, 2) if icon.shown]

    def task_list(self):
        """Identifiers of the managed windows; None without a window manager."""
        return self.root_property("_NET_CLIENT_LIST")

    def server_time(self):
        window = self.root.create_window(0, 0, 1, 1, 0, Xlib.X.CopyFromParent, event_mask=Xlib.X.PropertyChangeMask)
        window.change_property(Xlib.Xatom.WM_NAME, Xlib.Xatom.STRING, 8, b"")
        return wait_for(lambda: getattr(self.display.next_event(), "time", None), what="the server's time")

    @staticmethod
    def screenshot_path(name):
        directory = os.environ.get("NEBRIX_SCREENSHOTS", "build/gui-screenshots")
        os.makedirs(directory, exist_ok=True)
        return os.path.join(directory, name + ".png")

    def screenshot(self, name):
        # The program "import" would grab the server, and with it the event loops that are being watched.
        width, height = self.screen
        image = self.root.get_image(0, 0, width, height, Xlib.X.ZPixmap, 0xFFFFFFFF)
        subprocess.run(["convert", "-size", f"{width}x{height}", "-depth", "8", "BGRA:-", "-alpha", "off",
                        self.screenshot_path(name)], input=image.data, check=True)

    # Acting.

    def xdotool(self, *words):
        subprocess.run(["xdotool", *map(str, words)], env=self.environment, check=True, stdout=subprocess.DEVNULL)

    def click(self, place, button=1):
        """Presses and releases a mouse button at a place, or in the middle of a window or control."""
        self.move_mouse(*(place if isinstance(place, tuple) else place.middle()))
        self.xdotool("click", button)

    def move_mouse(self, x, y):
        self.xdotool("mousemove", x, y)

    def key(self, *keys):
        self.xdotool("key", *keys)

    def type(self, text):
        self.xdotool("type", "--delay", "2", text)

    def close(self):
        """Kills what is left of everything that was started here, the programs that the bus started too."""
        for process in reversed(self._children):
            process.kill()
            process.wait()
        for pid in children_of(os.getpid()):
            os.kill(pid, signal.SIGKILL)
            os.waitpid(pid, 0)
        shutil.rmtree(self.directory, ignore_errors=True)


def children_of(pid):
    """Also those that have ended and were not waited for."""
    try:
        with open(f"/proc/{pid}/task/{pid}/children", encoding="ascii") as file:
            return [int(word) for word in file.read().split()]
    except FileNotFoundError:
        return []
