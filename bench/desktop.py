#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""The desktop client beside a bare wxWidgets program with a frame and a tray icon, on one X server of its own.

From the start of each to its first window on screen, in turns; then the resident memory of both, and what the client
costs while it is connected and nothing happens.

usage: bench/desktop.py [BUILD/bin] [ROUNDS] [IDLE SECONDS]
"""
import os
import signal
import statistics
import subprocess
import sys
import tempfile
import time

from Xlib import X, display, error

import gateway

root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
programs = sys.argv[1] if len(sys.argv) > 1 else os.path.join(root, "build/release/bin")
rounds = int(sys.argv[2]) if len(sys.argv) > 2 else 15
idle_seconds = int(sys.argv[3]) if len(sys.argv) > 3 else 60
bare = os.path.join(programs, "../bench/bench_barewx")
client = os.path.join(programs, "nebrixclient")


def start_desktop(environment):
    """The X server and, on it, a tray; the display's name."""
    read, write = os.pipe()
    server = subprocess.Popen(["Xvfb", "-displayfd", str(write), "-screen", "0", "1280x800x24", "-nolisten", "tcp"],
                              pass_fds=[write], stderr=subprocess.DEVNULL)
    os.close(write)
    environment["DISPLAY"] = ":" + os.fdopen(read).readline().strip()
    others = [subprocess.Popen([name], env=environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
              for name in ("openbox", "tint2")]
    time.sleep(2)  # both have no way to say that they are ready
    return [server] + others


def owner_of(screen, window):
    """The process that made the window, or None."""
    try:
        pid = window.get_full_property(screen.intern_atom("_NET_WM_PID"), X.AnyPropertyType)
        return pid.value[0] if pid else None
    except error.XError:
        return None


def shown(screen, pid):
    """Whether a window of this process is on screen, wherever in the tree the window manager has put it."""
    def search(window, depth):
        try:
            if window.get_attributes().map_state == X.IsViewable and window.get_geometry().width > 100 \
                    and owner_of(screen, window) == pid:
                return True
            return depth > 0 and any(search(child, depth - 1) for child in window.query_tree().children)
        except error.XError:
            return False
    return search(screen.screen().root, 2)


def launch(command, environment, screen):
    begin = time.perf_counter()
    process = subprocess.Popen(command, env=environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    while not shown(screen, process.pid):
        if process.poll() is not None or time.perf_counter() - begin > 20:
            sys.exit(command[0] + " shows no window")
        time.sleep(0.002)
    return process, time.perf_counter() - begin


def end(process):
    process.send_signal(signal.SIGTERM)
    try:
        process.wait(10)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()


def memory(pid):
    """Resident memory, the part of it that is the process's alone, and what of that it has written, in MiB. The rest is
    pages of files that no other program has mapped just now."""
    fields = dict(line.split(":") for line in open(f"/proc/{pid}/smaps_rollup").read().splitlines()[1:])
    kilobytes = {name: int(value.split()[0]) for name, value in fields.items()}
    written = kilobytes["Private_Dirty"]
    return [value / 1024 for value in (kilobytes["Rss"], kilobytes["Private_Clean"] + written, written)]


def processor_seconds(pid):
    """In the kernel's clock; the ticks of /proc/PID/stat are too long for a program that sleeps."""
    tasks = f"/proc/{pid}/task"
    return sum(int(open(f"{tasks}/{task}/schedstat").read().split()[0]) for task in os.listdir(tasks)) / 1e9


def main():
    home = tempfile.mkdtemp()
    gate, link, authority = gateway.start(programs)
    gateway.trust(home, authority)
    environment = {"HOME": home, "PATH": os.environ["PATH"], "NO_AT_BRIDGE": "1"}
    desktop = start_desktop(environment)
    screen = display.Display(environment["DISPLAY"])
    try:
        times = {bare: [], client: []}
        for _ in range(rounds):
            for command in ([bare], [client, link]):
                process, elapsed = launch(command, environment, screen)
                times[command[0]].append(elapsed)
                end(process)
        peer, own = (statistics.median(times[name]) for name in (bare, client))
        print(f"start to first window: client {own * 1000:.0f} ms, bare {peer * 1000:.0f} ms, ratio {own / peer:.2f}")

        other, _ = launch([bare], environment, screen)
        process, _ = launch([client, link], environment, screen)
        time.sleep(10)
        before, first = processor_seconds(process.pid), memory(process.pid)
        time.sleep(idle_seconds)
        used, last, peer = processor_seconds(process.pid) - before, memory(process.pid), memory(other.pid)
        parts = "{:.1f} MiB ({:.1f} private, {:.1f} of that written)"
        print(f"resident: client {parts.format(*last)}, bare {parts.format(*peer)}, ratio {last[0] / peer[0]:.2f}; "
              f"grown by {(last[0] - first[0]) * 1024:.0f} KiB")
        print(f"connected and idle for {idle_seconds} s: {100 * used / idle_seconds:.3f} % of a core")
        end(process)
        end(other)
    finally:
        for process in [gate] + desktop[::-1]:
            end(process)


main()
