"""The process that each of the four commands runs in: any umask, a root without /proc, a limit on the size of files, an
input that must not be read."""

import json
import os
import re
import shutil
import stat
import subprocess

from install_world import (HASH_MISMATCH, INVALID_BUNDLE, PROGRAMS, REPLACEMENT_FAILED, UPDATED, InstallScenario, InstallWorld,
                           ended_process, snapshot)
from world import FAILED_SAFELY, Run, enter, options, run_quietly, traceable_environment, tree

UUID = re.compile(r"[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}")
# The superuser of the world of tests may do everything; without capabilities the modes of files hold for it too.
AS_AN_ORDINARY_USER = ["setpriv", "--bounding-set", "-all", "--inh-caps", "-all"]
WITHOUT_PROC = ["unshare", "-m", "sh", "-c", 'mount -t tmpfs -o ro nothing /proc && exec "$@"', "sh"]


def is_instrumented(program):
    with open(program, "rb") as file:
        return b"__asan_init" in file.read()


class CommandScenario(InstallScenario):
    """One run of each command, the later ones on what the earlier ones left."""

    def run_helper(self, *arguments, prefix=(), **settings):
        settings = {"stdin": subprocess.DEVNULL, "timeout": 400, **settings}
        done = subprocess.run([*prefix, self.world.updater, *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              check=False, **settings)
        return Run(done.returncode, done.stdout, done.stderr)

    def run_all(self, **settings):
        """Signs, stages, prepares and installs, and returns the three answers."""
        answers = []
        for command in self.commands():
            run = self.run_helper(*command, **settings)
            self.assertEqual((run.status, run.errors), (0, b""), (command[0], run.output))
            if run.output:
                answers.append(run.answer)
            self.learn(run)
        return answers

    def commands(self):
        """The command lines, each made when the one before has been answered."""
        folder = self.update()
        if os.path.exists(self.archive):
            os.remove(self.archive)
        run_quietly("zip", "-q", "-r", "-X", "-y", self.archive, ".", "-i", "*", cwd=folder)
        os.chmod(self.archive, 0o644)
        yield ["sign-manifest", *self.sign_options()]
        yield ["check-and-stage", *self.check_options()]
        yield ["prepare-install", *options(**self.install_options())]
        yield ["apply-install", *self.apply_options(ended_process())]

    def learn(self, run):
        answer = json.loads(run.output) if run.output else {}
        if "stagedArtifactPath" in answer:
            self.staged = os.path.dirname(answer["stagedArtifactPath"])
        self.prepared = answer.get("preparationDirectoryPath", getattr(self, "prepared", None))

    def start_again(self):
        """Forgets all that the commands left."""
        for path in (self.manifest, self.opened):
            os.remove(path)
        shutil.rmtree(self.staging)
        if os.path.dirname(self.staging) != self.home:
            os.rmdir(os.path.dirname(self.staging))
        self.install(version="2.3.0", build=100)

    def everything(self):
        """All that the four commands left, with its modes."""
        modes = ["%s %s" % (stat.filemode(os.lstat(path).st_mode), os.path.basename(path)) for path in (self.manifest, self.home)]
        # The time of the record has a fraction of any length, and so the record a size of its own.
        lines = [re.sub(r"(last-install-result.json) \d+", r"\1", UUID.sub("UUID", line)) for line in tree(self.home)]
        return modes + lines


class Umask(CommandScenario):
    def test_of_the_starter_changes_no_mode_of_what_is_signed_staged_and_installed(self):
        self.staging = os.path.join(self.home, "above", "staging")
        self.result_file = os.path.join(self.staging, "last-install-result.json")
        found = {}
        for umask in (0o022, 0o000, 0o077, 0o777):
            with self.subTest(umask=oct(umask)):
                self.run_all(prefix=AS_AN_ORDINARY_USER, umask=umask)
                self.assert_reopened()
                self.assert_record(True, UPDATED)
                self.assert_no_leftovers()
                found[umask] = self.everything()
                self.assertEqual(found[umask], found[0o022])
                self.start_again()
        self.assertEqual(len(found), 4)
        modes = {line.split()[1].rsplit("/", 1)[-1]: line.split()[0] for line in found[0o022]}
        self.assertEqual([modes[name] for name in ("manifest.json", "above", "staging", "receipt.json", "BrindlewickUpdate.zip",
                                                   "last-install-result.json", "Brindlewick.app", "Brindlewick")],
                         ["-rw-------", "drwx------", "drwx------", "-rw-------", "-rw-------", "-rw-------", "drwxr-xr-x",
                          "-rwxr-xr-x"])

    def test_of_the_tools_is_022(self):
        self.stage()
        seen = os.path.join(self.folder, "umask")
        self.replace_command("ditto", f'#!/bin/sh\numask >{seen}\nexec {self.world.commands["ditto"]} "$@"\n')
        run = self.run_helper("prepare-install", *options(**self.install_options()), umask=0o777)
        self.assert_prepared(run)
        with open(seen) as file:
            self.assertEqual(file.read(), "0022\n")


class Proc(CommandScenario):
    def test_is_needed_by_no_command(self):
        hidden = subprocess.run([*WITHOUT_PROC, "ls", "/proc"], capture_output=True, check=False)
        self.assertEqual((hidden.stdout, hidden.stderr, hidden.returncode), (b"", b"", 0))
        # What the library does through /proc is to set a mode by a path, and no such call is needed either.
        ways = [["strace", "-o", os.path.join(self.folder, "trace"), "-e", "inject=?chmod,fchmodat:error=ENOENT"]]
        if not is_instrumented(self.world.updater):  # a sanitizer finds its own settings there
            ways += [WITHOUT_PROC, WITHOUT_PROC + AS_AN_ORDINARY_USER]
        for way in ways:
            with self.subTest(way=way[0]):
                self.run_all(prefix=way, env=traceable_environment())
                self.assert_reopened()
                self.assert_no_leftovers()
                self.start_again()


class AStagingDirectoryInASharedFolder(CommandScenario):
    """Where nothing else can be written: the shared folder for temporary files is empty and read-only."""

    # What the test wants to see lies in that folder too, so it is mounted elsewhere first.
    WITHOUT_SHARED_FOLDER = ["unshare", "-m", "sh", "-c",
                             'mount --bind "$0" /mnt && mount -t tmpfs -o ro nothing /var/tmp && exec "$@"']

    def setUp(self):
        super().setUp()
        self.shared = os.path.join(self.home, "shared")
        self.staging = os.path.join(self.shared, "staging")
        os.mkdir(self.shared)
        os.chmod(self.shared, 0o777)
        os.mkdir(self.staging, 0o700)
        self.publish()

    def check_there(self):
        return self.run_helper("check-and-stage", *self.check_options(staging_directory="/mnt/staging"),
                               prefix=[*self.WITHOUT_SHARED_FOLDER, self.shared])

    def test_holds_the_download_if_it_is_private(self):
        run = self.check_there()
        self.assertEqual((run.status, run.errors), (0, b""), run.output)
        self.assertEqual([os.path.basename(run.answer["stagedArtifactPath"])], ["BrindlewickUpdate.zip"])
        self.assertEqual(len(os.listdir(self.staging)), 1)
        self.assert_no_leftovers()

    def test_is_as_it_was_if_the_download_is_refused(self):
        with open(self.archive, "ab") as file:
            file.write(b"more")
        before = snapshot(self.shared)
        self.assert_failed(self.check_there(), HASH_MISMATCH)
        self.assertEqual(snapshot(self.shared), before)

    def test_is_not_touched_if_it_is_open_or_missing(self):
        for mode in (0o755, 0o701, None):
            os.rmdir(self.staging) if mode is None else os.chmod(self.staging, mode)
            before = snapshot(self.shared)
            self.assert_failed(self.check_there(), FAILED_SAFELY)
            self.assertEqual(snapshot(self.shared), before)


class StandardInput(CommandScenario):
    def test_is_read_by_no_command(self):
        """Not even looked at: not one call names descriptor 0."""
        trace = os.path.join(self.folder, "trace")
        reading = "read,readv,pread64,preadv,preadv2,recvfrom,recvmsg,poll,ppoll,select,pselect6,splice"
        for command in self.commands():
            reader, writer = os.pipe()
            os.write(writer, b"yes\n" * 100)
            run = self.run_helper(*command, prefix=["strace", "-o", trace, "-e", "trace=" + reading], stdin=reader,
                                  env=traceable_environment())
            self.assertEqual((run.status, run.errors), (0, b""), (command[0], run.output))
            self.assertEqual(len(os.read(reader, 1000)), 400)
            os.close(reader)
            os.close(writer)
            self.learn(run)
            with open(trace) as file:
                calls = file.read().splitlines()
            self.assertGreater(len(calls), 10)
            self.assertEqual([call for call in calls if re.match(r"\w+\(0[,)]|(p?poll|p?select6?)\(.*fd=0,", call)], [], command[0])

    def test_may_be_anything(self):
        """A pipe that nobody writes to, a folder, a descriptor that cannot be read, none at all."""
        silent, writer = os.pipe()
        self.addCleanup(os.close, silent)
        self.addCleanup(os.close, writer)
        with open(os.path.join(self.folder, "unreadable"), "wb") as unreadable:
            folder = os.open(self.folder, os.O_RDONLY)
            self.addCleanup(os.close, folder)
            closed = ["sh", "-c", 'exec "$@" <&-', "sh"]
            for settings in ({"stdin": silent}, {"stdin": folder}, {"stdin": unreadable}, {"prefix": closed}):
                with self.subTest(settings=settings):
                    self.run_all(**settings)
                    self.assert_reopened()
                    self.start_again()


class FileSizeLimit(CommandScenario):
    """A write beyond the limit is a write that fails: answered, cleaned up, the installed application as it was."""

    def fails_with(self, size, message, *command):
        before = snapshot(self.folder)
        run = self.run_helper(*command, prefix=["prlimit", "--fsize=%d" % size])
        self.assert_failed(run, message)
        if command[0] == "apply-install":
            self.assert_record(False, message)
            self.assert_reopened()
        after = snapshot(self.folder)
        if command[0] == "apply-install":
            for path in (self.result_file, self.opened):
                del after[os.path.relpath(path, self.folder)]
        self.assertEqual(after, before)
        self.assert_no_leftovers()

    def test_fails_every_command_cleanly(self):
        commands = self.commands()
        for size, message in ((100, FAILED_SAFELY), (20_000, FAILED_SAFELY), (20_000, INVALID_BUNDLE), (20_000, REPLACEMENT_FAILED)):
            command = next(commands)
            self.fails_with(size, message, *command)
            run = self.run_helper(*command)
            if command[0] != "apply-install":
                self.assertEqual(run.status, 0, run.output)
                self.learn(run)

    def test_that_the_receipt_alone_exceeds_leaves_no_candidate(self):
        self.archive = self.feed.path("tiny.zip")
        with open(self.archive, "wb") as file:
            file.write(b"x" * 100)
        self.publish(artifact_url=self.feed.url + "/tiny.zip")
        self.fails_with(300, FAILED_SAFELY, "check-and-stage", *self.check_options(staging_directory=self.home))


if __name__ == "__main__":
    enter(InstallWorld, PROGRAMS)
