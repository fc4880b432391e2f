# SPDX-License-Identifier: Apache-2.0
"""A gateway's documents: what the demo gateway sends fits the schema, and the smallest gateway of docs/gateway.md serves
the client.

usage: documents_test.py SOURCE BIN
"""

import copy
import ctypes
import http.client
import json
import pathlib
import shutil
import socket
import ssl
import subprocess
import sys
import tempfile
import unittest

import jsonschema

SOURCE, BIN = pathlib.Path(sys.argv.pop(1)), pathlib.Path(sys.argv.pop(1))
KEY = SOURCE / "resources/keys/development-private.pem"
# Each type's library, and what its session says or asks.
TYPES = {"plugindll": ("libnebrix-tunnel-simulated.so", "connected ip="),
         "plugindllnotunnel": ("libnebrix-notunnel.so", "session over"),
         "hostchecker": ("libnebrix-hostchecker.so", "POST /verdict")}
SCHEMA = json.loads((SOURCE / "docs/gateway.schema.json").read_text())


def fits(document, definition=""):
    schema = {**SCHEMA, "oneOf": [{"$ref": definition}]} if definition else SCHEMA
    return jsonschema.Draft202012Validator(schema).is_valid(document)


def without_each_key(document, path=()):
    """The document without one of its keys, for each, with the path of that key."""
    for key in list(document):
        less = copy.deepcopy(document)
        del less[key]
        yield path + (key,), less
        if isinstance(document[key], dict):
            for inner, value in without_each_key(document[key], path + (key,)):
                yield inner, {**document, key: value}


def output(*words, check=True, **options):
    return subprocess.run(words, check=check, stdout=subprocess.PIPE, text=True, **options).stdout


class Documents(unittest.TestCase):
    # What a client takes without; everything else is required.
    OPTIONAL = {"code", "md5", "sslservercertname", "linux64", "linux64_openssl3"}

    def start(self, *words):
        """Starts a program and waits for the line that says that it listens."""
        process = subprocess.Popen(words, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.terminate)
        return process, next(line for line in process.stdout if line.startswith(("listening ", "serving ")))

    def test_the_demo_gateways_answers(self):
        authority = self.start(BIN / "nebrix-demo-gateway", "--client-id", "known")[1].split()[1]

        def asked(method, path, cookie, body=None):
            connection = http.client.HTTPSConnection(authority, context=ssl._create_unverified_context())
            self.addCleanup(connection.close)
            connection.request(method, path, body, {"Cookie": "Nebrix-Id=" + cookie})
            return json.loads(connection.getresponse().read())

        for kind in TYPES:
            path = f"/mediation/{kind}?clientversion=1"
            answer = asked("GET", path, "known")
            self.assertTrue(fits(answer), kind)
            for keys, less in without_each_key(answer):
                self.assertEqual(fits(less), keys[-1] in self.OPTIONAL, keys)
            self.assertTrue(fits(asked("GET", path, "unknown"), "#/$defs/refusal"))
        verdict = asked("POST", "/hostcheck/response", "known", "rulesChecked=system")
        self.assertTrue(fits(verdict, "#/$defs/verdictAnswer"))
        self.assertFalse(fits({**verdict, "success": 1}, "#/$defs/verdictAnswer"))

    def test_a_plug_ins_status_list(self):
        library = ctypes.CDLL(BIN / "components" / TYPES["plugindll"][0])
        library.DllCreatePluginFrontal.restype = ctypes.c_void_p
        library.DllGetErrors2.restype = ctypes.c_char_p
        instance = ctypes.c_void_p(library.DllCreatePluginFrontal())
        library.DllStart2(instance)  # without a server: it asks to be closed
        news = json.loads(library.DllGetErrors2(instance))
        self.assertEqual([message["code"] for message in news], [8])
        for list_, fit in ((news, True), ([], True), ([{"code": 8}], False), ([{"status": "init"}], False), ({}, False)):
            self.assertEqual(fits(list_, "#/$defs/statusList"), fit, list_)

    def test_the_smallest_gateway_serves_each_type_and_its_user_alone(self):
        home = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, home)
        for folder in ("components", "certificates", "resources"):
            (home / "public" / folder).mkdir(parents=True)
        (home / "public/resources/welcome.txt").write_text("welcome\n")
        output("openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=localhost", "-addext",
               "subjectAltName=DNS:localhost", "-keyout", home / "key", "-out", home / "server.pem",
               stderr=subprocess.DEVNULL)
        (home / "server.pem").write_text((home / "server.pem").read_text() + (home / "key").read_text())
        for name in ("client.pem", "authority.pem"):
            shutil.copy(home / "server.pem", home / "public/certificates" / name)
        for kind, (library, _) in TYPES.items():
            shutil.copy(BIN / "components" / library, home)
            output(BIN / "nebrix-sign", "sign", "--key", KEY, home / library)
            (home / (kind + ".json")).write_text(output(
                BIN / "nebrix-sign", "pack", "-o", home / "public/components" / (kind + ".zip"), home / library))
        gateway, serving = self.start("/usr/bin/python3", "-u", SOURCE / "docs/gateway.py", home, "known", "0")
        place = serving.split()[1].removeprefix("https://")
        self.addCleanup(socket.create_connection(place.split("/")[0].split(":")).close)  # keeps nobody waiting
        pin = output("openssl", "x509", "-in", home / "server.pem", "-noout", "-fingerprint", "-sha256").split("=")[1]

        said = []

        def check(kind, identifier, sign):
            words = ["timeout", "60", BIN / "nebrixclient-cli", "--trust", pin.strip(), f"https://{identifier}@{place}{kind}"]
            with subprocess.Popen(words, env={"HOME": home}, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                  text=True) as client:
                for line in gateway.stdout if sign.startswith("POST") else client.stdout:
                    said.append(line)
                    if sign in line:
                        break
                client.terminate()
            self.assertIn(sign, said[-1], said)

        for kind, (_, sign) in TYPES.items():
            check(kind, "known", sign)
        check("plugindll", "unknown", "This link is not valid any more.")
        gateway.terminate()
        requests = "".join(said) + gateway.stdout.read()
        for request in ("GET /certificates/client.pem", "GET /resources/welcome.txt", "POST /verdict"):
            self.assertIn(request, requests)


unittest.main(verbosity=2)
