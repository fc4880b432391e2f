# SPDX-License-Identifier: Apache-2.0
"""Runs a program in a network of its own whose name server takes questions and never answers. The first argument names
the file that is made when one has come. For a user and network namespace of its own."""

import ctypes
import fcntl
import os
import signal
import socket
import struct
import subprocess
import sys
import tempfile

SIOCSIFFLAGS, IFF_UP, PR_SET_PDEATHSIG = 0x8914, 1, 1


def main():
    server = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    fcntl.ioctl(server, SIOCSIFFLAGS, struct.pack("16sh22x", b"lo", IFF_UP))
    server.bind(("127.0.0.1", 53))
    with tempfile.NamedTemporaryFile("w") as file:
        file.write("nameserver 127.0.0.1\noptions timeout:30\n")
        file.flush()
        subprocess.run(["mount", "--bind", file.name, "/etc/resolv.conf"], check=True)
    if os.fork() == 0:
        ctypes.CDLL(None).prctl(PR_SET_PDEATHSIG, signal.SIGKILL)
        server.recv(512)
        with open(sys.argv[1], "w", encoding="ascii"):
            pass
        while True:
            server.recv(512)
    server.close()
    os.execvp(sys.argv[2], sys.argv[2:])


main()
