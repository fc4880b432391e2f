#!/usr/bin/python3
"""The smallest complete gateway, for one user, with Python's standard library alone; gateway.md explains it.

usage: gateway.py DIRECTORY IDENTIFIER PORT

DIRECTORY holds server.pem (certificate and key), and for each type of component what "nebrix-sign pack" printed of its
archive in TYPE.json. What clients may fetch is below DIRECTORY/public: components/ with the archives, certificates/ with
client.pem (certificate and key) and authority.pem for the tunnel, resources/welcome.txt.
"""
import contextlib
import functools
import hashlib
import http.server
import json
import pathlib
import ssl
import sys
import urllib.parse

DIRECTORY, IDENTIFIER, PORT = pathlib.Path(sys.argv[1]), sys.argv[2], int(sys.argv[3])
KINDS = [kind for kind in ("plugindll", "plugindllnotunnel", "hostchecker") if (DIRECTORY / (kind + ".json")).exists()]


def file(name):
    digest = hashlib.md5((DIRECTORY / "public/certificates" / name).read_bytes()).hexdigest()
    return {"filename": name, "urlpath": "/certificates/", "md5": digest}


def configuration(kind, language):
    libraries = {"linux64_openssl3": json.loads((DIRECTORY / (kind + ".json")).read_text())}
    if kind == "hostchecker":
        return {"type": kind, "hostcheckerDlls": libraries, "hostcheckingrequest": "system file /etc/os-release\n",
                "responseurl": "/verdict", "hostname": "localhost", "language": language, "hostcheckingtimer": 5}
    common = {"type": kind, "orgname": "Example", "clientid": IDENTIFIER, "pluginDlls": libraries}
    if kind == "plugindllnotunnel":
        return {**common, "service": "welcome.txt", "safetype": 1}
    return {**common, "server": "vpn.example:1194/udp", "login": "alice", "ticket": "made for this session",
            "sessionid": "S-1", "certPassword": "", "sslservercertname": ["vpn.example"],
            "certificates": {"cert": file("client.pem"), "ca": file("authority.pem")}}


class Gateway(http.server.SimpleHTTPRequestHandler):
    timeout = 30  # seconds for a peer that says nothing

    def tell(self, result, refusal=None):
        answer = {"success": refusal is None, "result": result, **({"exception": refusal} if refusal else {})}
        body = json.dumps(answer).encode()
        self.send_response(200)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def known(self):
        return f"Nebrix-Id={IDENTIFIER}" in self.headers.get("Cookie", "").split("; ")

    def do_GET(self):
        url = urllib.parse.urlsplit(self.path)
        if not url.path.startswith("/mediation/"):
            return super().do_GET() if self.known() else self.send_error(403)
        kind = url.path.removeprefix("/mediation/")
        if not self.known() or kind not in KINDS:
            return self.tell({}, "This link is not valid any more.")
        self.tell(configuration(kind, urllib.parse.parse_qs(url.query).get("lang", ["en"])[0]))

    def do_POST(self):
        if not self.known() or self.path != "/verdict":
            return self.send_error(403)
        post = urllib.parse.parse_qs(self.rfile.read(int(self.headers["Content-Length"])).decode())
        self.tell({"continue": post.get("rulesChecked") == ["system"], "info": "checked"})


context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
context.load_cert_chain(DIRECTORY / "server.pem")
handler = functools.partial(Gateway, directory=str(DIRECTORY / "public"))
with http.server.ThreadingHTTPServer(("127.0.0.1", PORT), handler) as server:
    # Each connection's handshake is its own thread's: a peer that does not finish it keeps nobody else waiting.
    server.socket = context.wrap_socket(server.socket, server_side=True, do_handshake_on_connect=False)
    print("serving https://localhost:%d/mediation/" % server.server_port, flush=True)
    with contextlib.suppress(KeyboardInterrupt):
        server.serve_forever()
