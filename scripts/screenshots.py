#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Takes the pictures of docs/screenshots.md: the desktop client against the demo gateway, on desktops of its own.
Called by screenshots.sh, which gives it a network, a host name and a /tmp that nobody else uses."""

import glob
import io
import os
import re
import shutil
import signal
import subprocess
import sys
import types

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(ROOT, "tests", "gui"))

import accessible  # noqa: E402  (found only now)
from client import BIN, LOG, Client, Gateway, Home, catalog, plain, status_list  # noqa: E402
from desktop import TRAY_HEIGHT, Desktop, wait_for, wait_until_steady  # noqa: E402

HOST = "gateway.example"
HOME = "/mnt/home"  # what the log says; in the file system that screenshots.sh puts there, and so is the desktop's own
PLUGIN = os.path.join(BIN, "test-components", "libtest-plugin.so")
ZOO = os.path.join(BIN, "test-components", "libtest-zoo.so")
ADDRESS = "192.0.2.7"
CORNER, LARGE_CORNER, WHOLE = (600, 330), (860, 460), (1000, 760)  # screens
MARGIN, TITLE_BAR = 24, 24
BAR = f"""
rounded = 0
border_width = 0
background_color = #202830 100
panel_items = FS
panel_size = 100% {TRAY_HEIGHT}
panel_position = bottom right horizontal
panel_background_id = 1
systray_padding = 8 4 4
systray_icon_size = 24
wm_menu = 0
"""
STILL = "gtk-cursor-blink=0\n"
THEMES = {"": STILL, "dark": STILL + "gtk-application-prefer-dark-theme=1\n", "large": STILL + "gtk-font-name=Sans 20\n"}
EN = catalog("en")
ABOUT = {"en": "About", "fr": "À propos", "de": "Über", "es": "Acerca de"}  # wxWidgets' own label
# What the clients and the gateways take for now, so that logs and certificates say the same each time. Time passes.
CLOCK = {"LD_PRELOAD": next(iter(glob.glob("/usr/lib/*/faketime/libfaketime.so.1")), ""), "DONT_FAKE_MONOTONIC": "1",
         "FAKETIME": "@2026-03-02 09:30:00", "TZ": "UTC"}


class Scene(Desktop):
    """A desktop with one gateway and its clients, from `with` to the end of the block."""

    bar_options = BAR

    def __init__(self, directory, theme="", screen=WHOLE):
        with open(LOG, "w", encoding="utf-8"):
            pass  # none of an earlier scene
        self.directory_of_pictures = directory
        super().__init__(True, THEMES[theme], screen)
        self.bus = accessible.Bus(self.environment)
        self.gateway = None
        self.status = os.path.join(self.directory, "status")
        # What a client expects of the test that starts it.
        self.flow = types.SimpleNamespace(desktop=self, bus=self.bus, id=lambda: "scene.client",
                                          watchdog=types.SimpleNamespace(stdin=io.StringIO()))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def serve(self, *options):
        if self.gateway is not None:
            self.gateway.close()
        self.environment.update(CLOCK)
        self.gateway = Gateway(self, "--port", "443", "--client-id", "me", "--elsewhere", HOST, *options)

    def link(self, component="plugindll", language="en"):
        return self.gateway.mediation(component, language).replace(self.gateway.authority, HOST)

    def client(self, component="plugindll", language="en", trusted=(HOST,), **environment):
        """A client on its way, the only one."""
        home = Home(self, trusted)
        shutil.rmtree(HOME, ignore_errors=True)
        os.rename(home.path, HOME)
        home.path = HOME
        return Client(self.flow, self.link(component, language), home=home, env=environment)

    def driven(self, language="en"):
        """A client whose component says what tell() tells."""
        self.tell("init")
        return self.client(language=language, NEBRIX_TEST_STATUS=self.status)

    def connected(self, language="en"):
        client = self.driven(language)
        self.tell("connected ip=" + ADDRESS)
        client.wait_for_text(catalog(language)["VPN_GIVENIP %s"] % ADDRESS)
        return client

    def tell(self, line):
        with open(self.status + ".new", "w", encoding="utf-8") as file:
            file.write(status_list(line))
        os.rename(self.status + ".new", self.status)

    def press(self, window, name, role="push button"):
        self.click(wait_for(lambda: window.find(role, name), what=name))

    # Taking.

    def picture(self, name, *rectangles):
        """Keeps what is within these rectangles and a little of the desktop around; all of it without any."""
        wait_until_steady(self._pixels, "still picture")
        width, height = self.screen
        if rectangles:
            left = max(0, min(r[0] for r in rectangles) - MARGIN)
            top = max(0, min(r[1] for r in rectangles) - MARGIN)
            right = min(width, max(r[0] + r[2] for r in rectangles) + MARGIN)
            bottom = min(height, max(r[1] + r[3] for r in rectangles) + MARGIN)
        else:
            left, top, right, bottom = 0, 0, width, height
        path = os.path.join(self.directory_of_pictures, name + ".png")
        subprocess.run(["convert", "-size", f"{width}x{height}", "-depth", "8", "BGRA:-", "-alpha", "off",
                        "-crop", f"{right - left}x{bottom - top}+{left}+{top}", "+repage", "-strip", "+dither",
                        "-colors", "128", "-define", "png:exclude-chunks=date,time",
                        "-define", "png:compression-level=9", "PNG8:" + path], input=self._pixels(), check=True)
        print(f"{name}.png: {os.path.getsize(path)} bytes", flush=True)

    def _pixels(self):
        return self.root.get_image(0, 0, *self.screen, 2, 0xFFFFFFFF).data

    def window_picture(self, name, client, *titles):
        """Of the windows with these titles."""
        self.move_mouse(2, self.screen[1] - TRAY_HEIGHT - 2)
        rectangles = []
        for title in titles:
            x, y, width, height = client.window(title).rect
            rectangles.append((x, y - TITLE_BAR, width, height + TITLE_BAR))
        self.picture(name, *rectangles)

    def panel_picture(self, name, client, key, fill=(), language="en"):
        """Of the panel, once it says this: with all of its dots, where the state lasts."""
        text = catalog(language)[key] % fill
        client.wait_for_text(text, 30)
        if any(label.startswith(text + ".") for label in client.texts()):
            wait_for(lambda: text + "..." in client.texts(), what="three dots")
        self.picture(name, client.wait_for_panel().rect)


def panel_states(directory):
    with Scene(directory, screen=CORNER) as scene:
        scene.serve("--fault", "silent")
        client = scene.client()
        scene.panel_picture("panel-connecting", client, "Loading")
        scene.panel_picture("panel-waiting", client, "WAITING_FOR %s", HOST)
        client.end()

        scene.serve("--fault", "slow", "--pause", "400", "--component", f"plugindll={ZOO}")
        client = scene.client()
        client.wait_for_text(EN["STATUS_DOWNLOADING_COMPENENTS"], 30)
        rate = re.escape(EN["PROGRESS_RATE %s"]).replace("%s", ".+")
        wait_for(lambda: any(re.search(rate + "$", text) for text in client.texts()), what="rate")
        scene.panel_picture("panel-downloading", client, "STATUS_DOWNLOADING_COMPENENTS")
        client.end()

        scene.serve("--component", f"plugindll={PLUGIN}")
        client = scene.driven()
        for line, key in (("authenticating", "VPN_AUTHENTICATING"), ("reconnecting", "VPN_RECONNECTING"),
                          ("authError", "VPN_AUTHERROR"), ("", "VPN_STOPPED")):
            scene.tell(line)
            scene.panel_picture("panel-" + key[4:].lower(), client, key)
        client.end()

        scene.serve("--component", f"plugindll={ZOO}")
        client = scene.client(NEBRIX_TEST_ZOO="DllGetErrors2@2=slow")
        scene.panel_picture("panel-silent", client, "COMPONENT_SILENT")
        client.process.kill()

        scene.serve("--timer", "600")
        client = scene.client("hostchecker")
        scene.panel_picture("panel-hostcheck", client, "HOSTCHECKING")
        client.end()


def corner(directory, name, theme="", language="en", screen=CORNER):
    """The panel of a session that is connected, and the tray menu."""
    with Scene(directory, theme, screen) as scene:
        scene.serve("--component", f"plugindll={PLUGIN}")
        client = scene.connected(language)
        client.open_menu()
        scene.move_mouse(2, 2)
        scene.picture(name)


def windows(directory, names, end="", theme="", language="en"):
    """The windows with these names; what the names of their pictures end with."""
    texts = catalog(language)
    with Scene(directory, theme) as scene:
        def take(name, client, *titles):
            if name in names:
                scene.window_picture(name + end, client, *titles)

        scene.serve("--component", f"plugindll={PLUGIN}")
        client = scene.connected(language)
        scene.click(client.wait_for_panel())  # out of the way
        for name, entry, title, role in (
                ("settings", texts["MENU_SETTINGS"], texts["SETTINGS_TITLE"], "dialog"),
                ("log", texts["MENU_LOGS"], texts["LOG_TITLE"], "frame"),
                ("about", ABOUT[language], texts["TarnClient"], "dialog")):
            client.choose(plain(entry))
            client.dialog(plain(title), role)
            take(name, client, plain(title))
            scene.key("Escape")
            wait_for(lambda t=title: not client.window(plain(t)), what=f"{title} closed")
        client.end()

        client = scene.client(language=language, trusted=())
        error = client.dialog(texts["Error"])
        wait_for(lambda: not client.panel(), what="panel gone")
        take("error", client, texts["Error"])
        scene.press(error, plain(texts["CERTIFICATE_SHOW"]))
        client.dialog(texts["CERTIFICATE_TITLE"])
        take("certificate", client, texts["Error"], texts["CERTIFICATE_TITLE"])
        scene.key("Escape")
        wait_for(lambda: not client.window(texts["CERTIFICATE_TITLE"]), what="certificate closed")
        scene.key("Escape")
        wait_for(lambda: not client.window(texts["Error"]), what="error closed")
        client.process.send_signal(signal.SIGUSR1)
        if "panel-notconnected" in names:
            scene.panel_picture("panel-notconnected", client, "NOT_CONNECTED")
        client.end()

        scene.serve("--fault", "wrong-signature")
        client = scene.client(language=language)
        client.dialog(texts["Error"])
        take("fatal", client, texts["Error"])
        client.process.kill()


SCENES = {
    "states": panel_states,
    "corner": lambda directory: corner(directory, "panel"),
    "corner-dark": lambda directory: corner(directory, "panel-dark", "dark", "es"),
    "corner-large": lambda directory: corner(directory, "panel-large", "large", "de", LARGE_CORNER),
    "corner-fr": lambda directory: corner(directory, "panel-fr", language="fr"),
    "windows": lambda directory: windows(
        directory, ("settings", "log", "about", "error", "certificate", "panel-notconnected", "fatal")),
    "windows-dark": lambda directory: windows(
        directory, ("settings", "log", "certificate", "fatal"), "-dark", "dark", "es"),
    "windows-large": lambda directory: windows(
        directory, ("settings", "log", "error", "certificate"), "-large", "large", "de"),
    "windows-fr": lambda directory: windows(directory, ("settings", "error"), "-fr", language="fr"),
}


def main():
    directory, *names = sys.argv[1:]
    if not os.path.exists("/mnt/hosts"):
        sys.exit("screenshots: screenshots.sh calls this, in namespaces of its own")
    for name in names or SCENES:
        SCENES[name](directory)


if __name__ == "__main__":
    main()
