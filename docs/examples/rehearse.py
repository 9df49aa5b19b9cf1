#!/usr/bin/env python3
"""Rehearses a release on Linux, before anybody can fetch it: serves the manifest and the archive that will be published
under their own URLs, and lets the updater check, stage and prepare them as the previous release would.

    rehearse.py UPDATER FEED_URL MANIFEST ARCHIVE PUBLIC_KEY PREVIOUS_APP

Runs in namespaces of its own: the network is loopback, the hosts of both URLs are this machine, and the certificate
authority made for this run is trusted in here only. Needs openssl, iproute2, and the commands of the component
mac-commands in their places. Ends with status 0 if the update was prepared.
"""

import base64
import http.server
import json
import os
import plistlib
import re
import shutil
import ssl
import subprocess
import sys
import tempfile
import threading
import urllib.parse

ROOTS = "/etc/ssl/certs/ca-certificates.crt"


def run(*words, **options):
    return subprocess.run(words, check=True, stdout=subprocess.PIPE, **options).stdout


def enter_namespaces():
    if os.environ.get("REHEARSAL") != "entered":
        os.environ["REHEARSAL"] = "entered"
        program, updater, *rest = sys.argv
        os.execvp("unshare", ["unshare", "-Urmn", sys.executable, "-B", program, os.path.abspath(updater), *rest])
    run("ip", "link", "set", "lo", "up")


def make_certificate(folder, hosts):
    """A certificate for the hosts, which this namespace trusts."""
    key, certificate = os.path.join(folder, "server.key"), os.path.join(folder, "server.pem")
    names = ",".join("DNS:" + host for host in hosts)
    run("openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-days", "1",
        "-subj", "/CN=rehearsal", "-addext", "subjectAltName=" + names, "-keyout", key, "-out", certificate,
        stderr=subprocess.DEVNULL)
    roots = os.path.join(folder, "roots.pem")
    with open(roots, "wb") as out:
        for file in (ROOTS, certificate):
            with open(file, "rb") as source:
                shutil.copyfileobj(source, out)
    run("mount", "--bind", roots, ROOTS)
    return certificate, key


def name_hosts(folder, hosts):
    file = os.path.join(folder, "hosts")
    with open(file, "w") as out:
        out.write("".join(f"127.0.0.1 {host}\n" for host in hosts))
    run("mount", "--bind", file, "/etc/hosts")


def serve(port, certificate, key, files):
    """Answers the paths of `files` with their content, and everything else with 404."""

    class Handler(http.server.BaseHTTPRequestHandler):
        protocol_version = "HTTP/1.1"

        def do_GET(self):
            file = files.get(self.path)
            if file is None:
                return self.send_error(404)
            self.send_response(200)
            self.send_header("Content-Length", str(os.path.getsize(file)))
            self.end_headers()
            with open(file, "rb") as source:
                shutil.copyfileobj(source, self.wfile)

        def log_message(self, *_):
            pass

    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(certificate, key)
    server = http.server.ThreadingHTTPServer(("127.0.0.1", port), Handler)
    server.socket = context.wrap_socket(server.socket, server_side=True)
    threading.Thread(target=server.serve_forever, daemon=True).start()


def answer(updater, *words):
    done = subprocess.run([updater, *words], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
    print(f"$ {words[0]}\n{done.stdout.decode()}(exit status {done.returncode})", flush=True)
    return json.loads(done.stdout)


def request_target(url):
    """What a server is asked for: path and query as they stand in the text."""
    target = re.fullmatch(r"[^:]+://[^/?#]*([^#]*)", url)[1]
    return target if target.startswith("/") else "/" + target


def main():
    updater, feed, manifest, archive, public_key, installed = sys.argv[1:]
    enter_namespaces()
    with open(manifest) as file:
        offered = json.loads(base64.b64decode(json.load(file)["payload"]))
    with open(os.path.join(installed, "Contents/Info.plist"), "rb") as file:
        properties = plistlib.load(file)
    print("Signed:", json.dumps(offered, indent=1))

    served = {feed: manifest, offered["artifactURL"]: archive}
    urls = [urllib.parse.urlsplit(url) for url in served]
    hosts = sorted({url.hostname for url in urls})
    folder = tempfile.mkdtemp(prefix="rehearsal.", dir="/var/tmp")
    try:
        certificate, key = make_certificate(folder, hosts)
        name_hosts(folder, hosts)
        files = {request_target(url): file for url, file in served.items()}
        for port in {url.port or 443 for url in urls}:
            serve(port, certificate, key, files)
        running = ["--public-key", public_key, "--app-identifier", properties["CFBundleIdentifier"],
                   "--current-version", properties["CFBundleShortVersionString"],
                   "--current-build", str(properties["CFBundleVersion"])]
        staging = os.path.join(folder, "staging")
        staged = answer(updater, "check-and-stage", "--feed-url", feed, *running, "--staging-directory", staging)
        if staged["outcome"] != "staged":
            return 1
        prepared = answer(updater, "prepare-install", *running, "--staged-directory",
                          os.path.dirname(staged["stagedArtifactPath"]), "--installed-app", os.path.abspath(installed))
        return 0 if prepared["outcome"] == "prepared" else 1
    finally:
        shutil.rmtree(folder, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
