# SPDX-License-Identifier: Apache-2.0
"""Stands in for openvpn: an interpreter for the file that is run, one step on a line after the first.

pid (says its own), print TEXT, exit, deaf (to SIGTERM), hang, cut TEXT (without the end of a line), bears NAME (and
refuses any other that is asked for), tell (what it was given), stranger (another process comes first), expect COMMAND;
anything else is sent over the management interface, with \\0 as a NUL. At its end it waits until nobody is left there.
"""
import os
import signal
import socket
import subprocess
import sys
import time

ARGUMENTS = sys.argv[2:]
STEPS = open(sys.argv[1], encoding="ascii").read().splitlines()[1:]
connection = commands = None
for step in STEPS:
    word, _, rest = step.partition(" ")
    if word == "print":
        print(rest, flush=True)
    elif word == "exit":
        sys.exit(1)
    elif word == "deaf":
        signal.signal(signal.SIGTERM, signal.SIG_IGN)
    elif word == "hang":
        time.sleep(60)
    elif word == "stranger":
        comes = "import socket, sys; socket.socket(socket.AF_UNIX).connect(sys.argv[1])"
        subprocess.run([sys.executable, "-c", comes, ARGUMENTS[ARGUMENTS.index("--management") + 1]], close_fds=False)
    else:
        if connection is None:
            connection = socket.socket(socket.AF_UNIX)
            connection.connect(ARGUMENTS[ARGUMENTS.index("--management") + 1])
            commands = connection.makefile("r")
            assert [commands.readline() for _ in range(4)][-1] == "hold release\n"
        if word == "expect":
            assert commands.readline() == rest + "\n"
        elif word == "pid":
            connection.sendall(f">LOG:1,W,{os.getpid()}\n".encode())
        elif word == "tell":
            given = os.listdir("/proc/self/fd") + sorted(os.environ.keys() - {"LC_CTYPE"})
            given += signal.pthread_sigmask(signal.SIG_BLOCK, [])
            connection.sendall(f">LOG:1,W,{' '.join(map(str, given))}\n".encode())
        elif word == "bears":
            name = ARGUMENTS[ARGUMENTS.index("--verify-x509-name") + 1]
            if name != rest:
                connection.sendall(f">LOG:1,,VERIFY X509NAME ERROR: CN={rest}, must be {name}\n".encode())
        elif word == "cut":
            connection.sendall(rest.encode())
        else:
            connection.sendall(step.replace("\\0", "\0").encode() + b"\n")
if commands:
    commands.read()
