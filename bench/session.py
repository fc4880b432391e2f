#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""From the start of the headless client to its component's start call, with the component cached.

The peer is a shell script that does the same work with programs: curl for the mediation, openssl dgst for the library's
digest and for its signature, unzip -t for the archive. Both talk to one demo gateway on loopback, in turns.
The client's time ends with the first VPN line, which the component here gives in the poll just behind its start call.

usage: bench/session.py [BUILD/bin] [ROUNDS]
"""
import os
import signal
import statistics
import subprocess
import sys
import tempfile
import time

import gateway

root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
programs = sys.argv[1] if len(sys.argv) > 1 else os.path.join(root, "build/release/bin")
rounds = int(sys.argv[2]) if len(sys.argv) > 2 else 40

SCRIPT = """set -e
curl -s -k -A "NebrixClient" -b "Nebrix-Id=$ID" -o "$WORK/answer.json" "$URL"
openssl dgst -sha256 -binary -out "$WORK/digest" "$LIBRARY"
openssl dgst -sha1 -verify "$KEY" -signature "$WORK/signature" "$WORK/content" >/dev/null
unzip -tqq "$ARCHIVE"
"""


def field(text, name):
    return text.split("<" + name + ">")[1].split("</" + name + ">")[0]


def run_client(link, environment):
    begin = time.perf_counter()
    process = subprocess.Popen([os.path.join(programs, "nebrixclient-cli"), link], env=environment,
                               stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    elapsed = None
    for line in process.stdout:
        if line.startswith("vpn"):
            elapsed = time.perf_counter() - begin
            process.send_signal(signal.SIGTERM)
            break
    process.stdout.read()
    if process.wait() != 0 or elapsed is None:
        sys.exit("the client did not get to its component")
    return elapsed


def run_script(environment):
    begin = time.perf_counter()
    subprocess.run(["sh", "-c", SCRIPT], env=environment, check=True)
    return time.perf_counter() - begin


def prepare_script(work, home, link, environment):
    identifier, rest = link[len("https://"):].split("@", 1)
    plugin = os.path.join(home, ".Nebrix/Plugin")
    version = next(d for d in os.listdir(plugin) if d.startswith("PluginDll_"))
    library = os.path.join(plugin, version, "libbench-session-plugin.so")
    with open(library + ".sig") as file:
        text = file.read()
    with open(os.path.join(work, "content"), "w") as file:
        file.write("".join(field(text, key) for key in ("version", "name", "signdate", "sha256")))
    subprocess.run(["base64", "-d"], input=field(text, "signature").encode(), check=True,
                   stdout=open(os.path.join(work, "signature"), "wb"))
    archive = next(f for f in os.listdir(plugin) if f.endswith(".zip"))
    return dict(environment, ID=identifier, URL="https://" + rest, WORK=work, LIBRARY=library,
                ARCHIVE=os.path.join(plugin, archive), KEY=os.path.join(root, "resources/keys/development-public.pem"))


def main():
    component = "plugindll=" + os.path.join(programs, "../bench/libbench-session-plugin.so")
    process, link, authority = gateway.start(programs, "--component", component)
    try:
        with tempfile.TemporaryDirectory() as home, tempfile.TemporaryDirectory() as work:
            statuses = os.path.join(work, "statuses")
            with open(statuses, "w") as file:
                file.write('[{"code":5,"status":"started"}]\n')
            environment = dict(os.environ, HOME=home, NEBRIX_TEST_STATUS=statuses)
            gateway.trust(home, authority)
            run_client(link, environment)  # fetches what the rounds find cached
            script_environment = prepare_script(work, home, link, environment)
            client, script = [], []
            for _ in range(rounds):
                client.append(run_client(link, environment))
                script.append(run_script(script_environment))
    finally:
        process.terminate()
        process.wait()
    ours, theirs = statistics.median(client) * 1000, statistics.median(script) * 1000
    print(f"client {ours:.1f} ms, script {theirs:.1f} ms, ratio {ours / theirs:.2f} (medians of {rounds})")


main()
