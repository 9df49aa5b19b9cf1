"""Signals while a command waits or works, and the end of a helper that is killed."""

import os
import signal
import subprocess
import threading

from dishonest_server import DishonestServer
from install_world import PROGRAMS, InstallScenario, InstallWorld, ended_process, wait_until
from world import FAILED_SAFELY, Scenario, enter, failure, options, traceable_environment, tree

SIGNALS = (signal.SIGTERM, signal.SIGINT, signal.SIGHUP)
PATIENCE = 60
WITH_HANG_UPS_IGNORED = ["sh", "-c", 'trap "" HUP; exec "$@"', "sh"]


def open_files(process):
    """The path of every file that a process has open for reading, with how far it has read."""
    found = {}
    try:
        for number in os.listdir(f"/proc/{process}/fd"):
            with open(f"/proc/{process}/fdinfo/{number}") as file:
                values = dict(line.split(":", 1) for line in file.read().splitlines() if ":" in line)
            if int(values["flags"], 8) & os.O_ACCMODE == os.O_RDONLY:
                found[os.readlink(f"/proc/{process}/fd/{number}")] = int(values["pos"])
    except OSError:
        pass  # it was closed just now
    return found


def is_running(process):
    try:
        with open(f"/proc/{process}/stat") as file:
            return file.read().rpartition(")")[2].split()[0] not in "ZX"
    except OSError:
        return False


def runs(process, program):
    try:
        return os.readlink(f"/proc/{process}/exe") == program
    except OSError:
        return False


class SignalScenario(Scenario):
    def start(self, *command, prefix=(), **settings):
        process = subprocess.Popen([*prefix, self.world.updater, *command],
                                   **{"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **settings})
        self.addCleanup(self.kill, process)
        return process

    def kill(self, process):
        """For good, with its pipes closed; no effect on one that has ended."""
        process.kill()
        process.wait()
        for pipe in (process.stdout, process.stderr):
            if pipe is not None:
                pipe.close()

    def assert_interrupted(self, process):
        self.assertEqual(process.communicate(timeout=PATIENCE), (failure(FAILED_SAFELY), b""))
        self.assertEqual(process.returncode, 1)

    def reads(self, process, name):
        """Whether it has read a part of the file whose path ends in this."""
        return any(path.endswith(name) and position > 0 for path, position in open_files(process).items())


class Feed(SignalScenario):
    """A feed that takes the request and does not answer before it is told to."""

    def setUp(self):
        super().setUp()
        self.answer = threading.Event()
        self.addCleanup(self.answer.set)
        self.publish(version="2.3.0", build="100")
        with open(self.manifest, "rb") as file:
            self.envelope = file.read()
        self.server = DishonestServer(self.world.authority.issue("slow"), {"/m": self.respond})
        self.addCleanup(self.server.close)

    def respond(self, exchange):
        self.answer.wait(PATIENCE)
        exchange.respond("200 OK", body=self.envelope)

    def wait_for_the_feed(self, **settings):
        before = len(self.server.requests)
        process = self.start("check-and-stage", *self.check_options(feed_url=self.server.url + "/m"), **settings)
        wait_until(lambda: len(self.server.requests) > before, "nothing was asked for")
        return process

    def test_a_signal_ends_the_wait(self):
        for number in SIGNALS:
            with self.subTest(signal=number):
                process = self.wait_for_the_feed()
                process.send_signal(number)
                self.assert_interrupted(process)
                self.assertEqual(tree(self.home), [])
                self.assert_no_leftovers()

    def test_a_hang_up_that_the_starter_ignores_ends_nothing(self):
        process = self.wait_for_the_feed(prefix=WITH_HANG_UPS_IGNORED)
        process.send_signal(signal.SIGHUP)
        self.answer.set()
        output, errors = process.communicate(timeout=PATIENCE)
        self.assertIn(b'"outcome":"upToDate"', output)
        self.assertEqual((errors, process.returncode), (b"", 0))

    def test_the_other_signals_are_heard_even_then(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            process = self.wait_for_the_feed(prefix=WITH_HANG_UPS_IGNORED)
            process.send_signal(number)
            self.assert_interrupted(process)


class Signing(SignalScenario):
    def test_a_signal_ends_the_hash_of_the_archive(self):
        huge = os.path.join(self.folder, "huge.zip")
        with open(huge, "wb") as file:
            file.truncate(1 << 40)  # holes only; no machine has hashed them when the signal comes
        for number in SIGNALS:
            with self.subTest(signal=number):
                before = tree(self.folder)
                process = self.start("sign-manifest", *self.sign_options(artifact_file=huge, output=self.home + "/manifest.json"))
                wait_until(lambda: self.reads(process.pid, "/huge.zip"), "nothing is hashed")
                process.send_signal(number)
                self.assert_interrupted(process)
                self.assertEqual(tree(self.folder), before)


class Staging(SignalScenario):
    def test_a_signal_ends_each_hash_of_the_archive(self):
        """The first hash of the download, the second of the staged file. Every read is slowed down, so that both last."""
        with open(self.archive, "ab") as archive:
            archive.truncate(100 << 20)
        self.publish()
        slowly = ["strace", "-o", os.path.join(self.folder, "trace"), "-e", "trace=read", "-e",
                  "inject=read:delay_enter=20000"]
        for name in ("/download", "/BrindlewickUpdate.zip"):
            for number in SIGNALS:
                with self.subTest(file=name, signal=number):
                    tracer = self.start("check-and-stage", *self.check_options(), prefix=slowly, env=traceable_environment())
                    process = self.traced_by(tracer)
                    wait_until(lambda: self.reads(process, name), "nothing is hashed")
                    os.kill(process, number)
                    self.assert_interrupted(tracer)
                    self.assertEqual(tree(self.staging) if os.path.exists(self.staging) else [], [])
                    self.assert_no_leftovers()

    def traced_by(self, tracer):
        """The identifier of the program itself: a tracer has children of its own at its start."""
        def children():
            with open(f"/proc/{tracer.pid}/task/{tracer.pid}/children") as file:
                return [int(number) for number in file.read().split() if runs(int(number), self.world.updater)]
        wait_until(children, "the program was not started")
        return children()[0]


class AHelperThatIsKilled(InstallScenario, SignalScenario):
    def started(self, mark):
        """The identifier of the program that has written it there."""
        wait_until(lambda: os.path.exists(mark), "the program was not started")
        with open(mark) as file:
            return int(file.read())

    def test_takes_the_tool_along_that_it_waits_for(self):
        self.stage()
        mark = os.path.join(self.folder, "mark")
        for tool in ("zipinfo", "ditto", "lipo", "spctl"):
            with self.subTest(tool=tool):
                self.replace_command(tool, f"#!/bin/sh\necho $$ >{mark}.tmp\nmv {mark}.tmp {mark}\nexec sleep 600\n")
                helper = self.start("prepare-install", *options(**self.install_options()))
                running = self.started(mark)
                os.remove(mark)
                self.kill(helper)
                try:
                    wait_until(lambda: not is_running(running), tool + " goes on", 10)
                finally:
                    if is_running(running):
                        os.kill(running, signal.SIGKILL)
                self.world.restore_commands()

    def slow_open(self):
        """An `open` that has begun when its mark is there, and opens the application only when it is told to."""
        mark, self.go = (os.path.join(self.folder, name) for name in ("mark", "go"))
        os.mkfifo(self.go)
        self.replace_command("open", f"#!/bin/sh\necho $$ >{mark}.tmp\nmv {mark}.tmp {mark}\nread word <{self.go}\n"
                                     f'printf "%s\\n" "$@" >{self.opened}.tmp\nmv {self.opened}.tmp {self.opened}\n')
        return mark

    def tell_to_open(self):
        with open(self.go, "w") as file:
            file.write("now\n")

    def test_leaves_the_relaunch_running(self):
        """Killed right after it has started `open`: it cannot come to its own end, since nobody takes its answer."""
        self.stage_and_prepare()
        mark = self.slow_open()
        reader, writer = os.pipe()
        os.set_blocking(writer, False)
        try:
            while True:
                os.write(writer, b"x" * 4096)
        except BlockingIOError:
            os.set_blocking(writer, True)
        helper = self.start("apply-install", *self.apply_options(ended_process(), current_version="9.0.0"), stdout=writer)
        running = self.started(mark)
        self.assertIsNone(helper.poll())
        self.kill(helper)
        os.close(reader)
        os.close(writer)
        self.assertTrue(is_running(running))
        self.tell_to_open()
        self.assert_reopened()

    def test_or_that_ends_leaves_the_relaunch_running(self):
        folder = self.update()
        self.stage_folder(folder)
        self.assert_prepared(self.prepare())
        mark = self.slow_open()
        helper = self.start("apply-install", *self.apply_options(ended_process()))
        running = self.started(mark)
        self.assertEqual(helper.communicate(timeout=PATIENCE), (b"", b""))
        self.assertTrue(is_running(running))
        self.tell_to_open()
        self.assert_reopened()
        self.assert_installed(folder)


if __name__ == "__main__":
    enter(InstallWorld, PROGRAMS)
