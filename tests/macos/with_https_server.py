#!/usr/bin/env python3
"""Runs a program beside an HTTPS server on loopback: with_https_server.py FOLDER PROGRAM [ARGUMENT...]

FOLDER holds certificate.pem and key.pem for localhost. The program finds the server's port in BRINDLEWICK_LOOPBACK_PORT,
and its exit status is this one's."""

import http.server
import os
import ssl
import subprocess
import sys
import threading


class Answers(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def do_GET(self):
        port = self.server.server_port
        if self.path == "/to-https":
            self.answer(302, b"", Location="https://localhost:%d/request.txt" % port)
        elif self.path == "/to-http":
            self.answer(302, b"", Location="http://localhost:%d/request.txt" % port)
        elif self.path == "/archive.zip":
            self.answer(200, b"z" * 300_000)
        else:
            self.answer(200, ("GET %s %s" % (self.path, self.headers["Accept"])).encode())

    def answer(self, status, body, **headers):
        self.send_response(status)
        for name, value in headers.items():
            self.send_header(name, value)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *arguments):
        pass


def main():
    folder, program = sys.argv[1], sys.argv[2:]
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.minimum_version = ssl.TLSVersion.TLSv1_2
    context.load_cert_chain(os.path.join(folder, "certificate.pem"), os.path.join(folder, "key.pem"))
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Answers)
    server.daemon_threads = True
    # The handshake belongs to the thread of its connection: here it would let one silent client stop all others.
    server.socket = context.wrap_socket(server.socket, server_side=True, do_handshake_on_connect=False)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    environment = dict(os.environ, BRINDLEWICK_LOOPBACK_PORT=str(server.server_port))
    status = subprocess.run(program, env=environment, check=False).returncode
    server.shutdown()
    return 1 if status < 0 else status


sys.exit(main())
