# SPDX-License-Identifier: Apache-2.0
"""The demo gateway for whole programs that are measured, and a home directory that trusts it."""
import os
import subprocess


def start(programs, *options):
    """Its process, the link of its tunnel session, and its host with the port."""
    process = subprocess.Popen([os.path.join(programs, "nebrix-demo-gateway"), *options], stdout=subprocess.PIPE,
                               text=True)
    links, authority = {}, None
    while authority is None:
        words = process.stdout.readline().split()
        if words[0] == "mediation":
            links[words[1]] = words[2]
        elif words[0] == "listening":
            authority = words[1]
    return process, links["plugindll"], authority


def trust(home, authority):
    os.makedirs(os.path.join(home, ".Nebrix"), mode=0o700)
    with open(os.path.join(home, ".Nebrix/nebrixclient.xml"), "w") as file:
        file.write("<nebrixclient><sslcertignoredomains><domains>" + authority +
                   "</domains></sslcertignoredomains></nebrixclient>")
