#!/usr/bin/env python3
"""A mirror of signature databases on the loopback address, for tests.

    mirror.py FOLDER [CERTIFICATE]

Serves FOLDER, which the test fills, and prints its port. FOLDER/behaviour, read at each request, makes it
misbehave: lines `PATTERN WHAT [VALUE]`, of which the first whose PATTERN is in the path counts. Each request goes
into FOLDER/requests. It speaks for a proxy, too.
"""
import base64
import http.server
import os
import ssl
import sys
import time
import urllib.parse

folder = sys.argv[1]


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.0"

    def log_message(self, *_):
        pass

    def behaviour(self, path):
        try:
            with open(folder + "/behaviour") as lines:
                for line in lines:
                    words = line.split()
                    if words and words[0] in path:
                        return words[1], (words + [""])[2]
        except FileNotFoundError:
            pass
        return "serve", ""

    def do_HEAD(self):
        self.answer(False)

    def do_GET(self):
        self.answer(True)

    def answer(self, body):
        path = urllib.parse.urlparse(self.path).path
        with open(folder + "/requests", "a") as requests:
            requests.write(f"{self.command} {self.path} {self.headers.get('Range', '-')}\n")
        what, value = self.behaviour(path)
        if what == "login" and self.headers.get("Proxy-Authorization") == (
                "Basic " + base64.b64encode(value.encode()).decode()):
            what = "serve"
        getattr(self, "do_" + what)(path, value, body)

    def content(self, path):
        with open(folder + "/" + os.path.basename(path), "rb") as file:
            return file.read()

    def send(self, data, body, status=200, length=None, **headers):
        self.send_response(status)
        self.send_header("Content-Length", str(len(data) if length is None else length))
        for name, value in headers.items():
            self.send_header(name.replace("_", "-"), value)
        self.end_headers()
        if body:
            self.wfile.write(data)

    def do_serve(self, path, _, body):
        try:
            data = self.content(path)
        except FileNotFoundError:
            return self.send(b"not here", body, 404)
        if self.headers.get("Range"):
            return self.send(data[:512], body, 206, Content_Range=f"bytes 0-511/{len(data)}")
        self.send(data, body)

    def do_norange(self, path, _, body):
        self.send(self.content(path), body)

    def do_status(self, path, value, body):
        code, _, wait = value.partition(",")
        self.send(b"a page about it", body, int(code), **({"Retry_After": wait} if wait else {}))

    def do_login(self, path, value, body):
        self.send(b"", body, 407, Proxy_Authenticate='Basic realm="proxy"')

    def do_cut(self, path, _, body):
        data = self.content(path)
        if self.headers.get("Range"):
            return self.do_serve(path, "", body)
        self.send(data[:len(data) // 2], body, length=len(data))

    def do_flip(self, path, _, body):
        if self.headers.get("Range"):
            return self.do_serve(path, "", body)
        data = bytearray(self.content(path))
        data[len(data) // 2] ^= 255
        self.send(bytes(data), body)

    def do_other(self, path, value, body):
        """All of another file than the one whose head was shown."""
        if self.headers.get("Range"):
            return self.do_serve(path, "", body)
        self.send(self.content(value), body)

    def do_circle(self, path, _, body):
        self.send(b"", body, 302, Location=path)

    def do_elsewhere(self, path, value, body):
        self.send(b"", body, 302, Location=value)

    def do_endless(self, path, _, body):
        if self.headers.get("Range"):
            return self.do_serve(path, "", body)
        self.send_response(200)
        self.end_headers()
        while True:
            self.wfile.write(b"x" * 65536)

    def do_drip(self, path, _, body):
        self.send_response(200)
        self.end_headers()
        while True:
            self.wfile.write(b"x")
            time.sleep(1)

    def do_slow(self, path, value, body):
        """All of it, in pieces with pauses of VALUE milliseconds."""
        if self.headers.get("Range") or not body:
            return self.do_serve(path, "", body)
        data = self.content(path)
        self.send(b"", True, length=len(data))
        for start in range(0, len(data), 400):
            self.wfile.write(data[start:start + 400])
            time.sleep(int(value) / 1000)

    def do_hang(self, *_):
        time.sleep(600)


class Server(http.server.ThreadingHTTPServer):
    daemon_threads = True

    def handle_error(self, *_):
        pass  # the client went away


server = Server(("127.0.0.1", 0), Handler)
if len(sys.argv) > 2:
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(sys.argv[2])
    server.socket = context.wrap_socket(server.socket, server_side=True)
print(server.server_port, flush=True)
server.serve_forever()
