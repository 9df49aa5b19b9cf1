"""The three limits of time, on the session itself with small limits: idle, answer, whole."""

import os
import socket
import subprocess
import threading

import world
from dishonest_server import DishonestServer
from world import Scenario, tree

TIMED_OUT = "libcurl Timeout was reached\n"
LONG = 60_000


class Timeouts(Scenario):
    def setUp(self):
        super().setUp()
        self.done = threading.Event()
        self.addCleanup(self.done.set)
        self.server = DishonestServer(self.world.authority.issue("slow"), {
            "/honest": lambda exchange: exchange.respond("200 OK", body=b"12345"),
            "/silent": lambda exchange: self.done.wait(LONG),
            "/stalls": self.stall,
            "/drips": self.drip,
            "/slow-head": self.slow_head,
            "/extensions": self.extend,
            "/loop": self.loop})
        self.addCleanup(self.server.close)

    def stall(self, exchange):
        exchange.send(b"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nabc")
        self.done.wait(LONG)

    def drip(self, exchange):
        exchange.send(b"HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n")
        while not self.done.wait(0.05):
            exchange.send(b"x")

    def slow_head(self, exchange):
        exchange.send(b"HTTP/1.1 200 OK\r\n")
        while not self.done.wait(0.05):
            exchange.send(b"X-Wait: 1\r\n")

    def extend(self, exchange):
        exchange.send(b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5")
        while not self.done.is_set():
            exchange.send(b";x" * 4096)

    def loop(self, exchange):
        self.done.wait(0.2)
        exchange.redirect("/loop")

    def probe(self, mode, path, idle=LONG, answer=LONG, whole=LONG, url=None):
        run = subprocess.run([os.path.join(os.path.dirname(self.world.updater), "../tests/support/session-probe"), mode,
                              url or self.server.url + path, str(idle), str(answer), str(whole), self.staging],
                             stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, timeout=LONG, text=True)
        self.assertEqual(tree(self.home), [])
        return run.stdout

    def test_do_not_touch_an_honest_exchange(self):
        for mode in ("data", "download"):
            self.assertEqual(self.probe(mode, "/honest"), "200 5\n")

    def test_end_a_server_that_never_answers(self):
        for mode in ("data", "download"):
            self.assertEqual(self.probe(mode, "/silent", answer=500), TIMED_OUT)
            self.assertEqual(self.probe(mode, "/silent", idle=500), TIMED_OUT)

    def test_end_a_server_that_never_completes_the_handshake(self):
        with socket.create_server(("127.0.0.1", 0)) as mute:
            url = "https://localhost:%d/" % mute.getsockname()[1]
            self.assertEqual(self.probe("data", "", answer=500, url=url), TIMED_OUT)

    def test_end_a_head_that_never_ends(self):
        self.assertEqual(self.probe("data", "/slow-head", answer=500), TIMED_OUT)

    def test_end_a_body_that_stalls(self):
        for mode in ("data", "download"):
            self.assertEqual(self.probe(mode, "/stalls", idle=500), TIMED_OUT)

    def test_end_a_chunk_whose_extensions_never_end(self):
        for mode in ("data", "download"):
            self.assertEqual(self.probe(mode, "/extensions", idle=500), TIMED_OUT)

    def test_end_a_drip_only_when_the_whole_takes_too_long(self):
        for mode in ("data", "download"):
            self.assertEqual(self.probe(mode, "/drips", idle=5_000, answer=300, whole=1_500), TIMED_OUT)

    def test_run_over_all_redirects_together(self):
        self.assertEqual(self.probe("data", "/loop", whole=1_000), TIMED_OUT)
        self.assertLess(len(self.server.requests), 20)


if __name__ == "__main__":
    world.enter()
