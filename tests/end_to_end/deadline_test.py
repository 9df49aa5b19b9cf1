"""Each limit of time and each interruption in each phase of a transfer, against peers that would hold it there for
ever."""

import os
import signal
import subprocess

import world
from flooding_server import FloodingServer, FullListener, SilentNameServer
from world import Scenario, tree

TIMED_OUT = "libcurl Timeout was reached\n"
NEVER = 600_000
# How long a run may take that the program's own 30 s must not have ended.
SOON = 20
# How long the answer to a signal may take, on a slow machine too.
PROMPTLY = 5

BEFORE_THE_ANSWER = ("name", "connect", "handshake", "head")
PHASES = (*BEFORE_THE_ANSWER, "body", "trailers")


class Deadlines(Scenario):
    def setUp(self):
        super().setUp()
        if not hasattr(Deadlines, "certificate"):
            Deadlines.certificate = self.world.authority.issue("flooding")

    def peer(self, phase):
        """The peer of a phase, and the path to ask it for."""
        if phase == "name":
            return SilentNameServer(self.folder, self.mount), "/"
        if phase == "connect":
            return FullListener(), "/"
        return FloodingServer(self.certificate, without_handshake=phase == "handshake"), "/" + phase

    def mount(self, source, target):
        world.run_quietly("mount", "--bind", source, target)
        self.addCleanup(world.run_quietly, "umount", target)

    def probe(self, mode, url, idle=NEVER, answer=NEVER, whole=NEVER):
        program = os.path.join(os.path.dirname(self.world.updater), "../tests/support/session-probe")
        run = subprocess.run([program, mode, url, str(idle), str(answer), str(whole), self.staging],
                             stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, timeout=SOON, text=True)
        self.assertEqual(tree(self.home), [])
        return run.stdout

    def in_each(self, phases, check):
        """Calls `check` with the peer of each phase and the URL that leads there."""
        for phase in phases:
            peer, path = self.peer(phase)
            try:
                with self.subTest(phase=phase):
                    check(peer, peer.url + path)
            finally:
                peer.close()

    def test_the_idle_limit_ends_every_phase(self):
        for mode in ("data", "download"):
            self.in_each(PHASES, lambda _, url: self.assertEqual(self.probe(mode, url, idle=500), TIMED_OUT))

    def test_the_limit_of_the_answer_ends_every_phase_before_it(self):
        self.in_each(BEFORE_THE_ANSWER, lambda _, url: self.assertEqual(self.probe("data", url, answer=500), TIMED_OUT))

    def test_the_limit_of_the_whole_ends_every_phase(self):
        self.in_each(PHASES, lambda _, url: self.assertEqual(self.probe("data", url, whole=500), TIMED_OUT))

    def test_a_flood_behind_the_last_byte_takes_nothing_back(self):
        whole = b"HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n12345"
        peer = FloodingServer(self.certificate, sent={"/whole": whole})
        self.addCleanup(peer.close)
        for mode in ("data", "download"):
            self.assertEqual(self.probe(mode, peer.url + "/whole"), "200 5\n")

    def interrupt(self, peer, url, signal_number):
        command = [self.world.updater, "check-and-stage", *self.check_options(feed_url=url)]
        with subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE) as run:
            try:
                self.assertTrue(peer.reached.wait(SOON))
                run.send_signal(signal_number)
                output, errors = run.communicate(timeout=PROMPTLY)
            finally:
                run.kill()
        self.assert_failed(world.Run(run.returncode, output, errors), world.FAILED_SAFELY)
        self.assertEqual(tree(self.home), [])

    def test_an_interruption_ends_every_phase(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            self.in_each(PHASES, lambda peer, url: self.interrupt(peer, url, number))


if __name__ == "__main__":
    world.enter(own_network=True)
