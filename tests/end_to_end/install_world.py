"""The private world of the install half: the macOS commands stand at their absolute paths, and a publisher signs bundles
with certificates of a root that the program under test was built to trust.
"""

import hashlib
import json
import os
import re
import shutil
import stat
import subprocess
import sys
import tempfile
import time

import zip_bytes
from world import Scenario, World, options, run_quietly, updater

# The updater, the maker of bundles, the folder with the root that the updater trusts, and the first four commands; the
# last is the one of this machine.
PROGRAMS = 7
COMMANDS = {"ditto": "/usr/bin/ditto", "lipo": "/usr/bin/lipo", "open": "/usr/bin/open", "spctl": "/usr/sbin/spctl",
            "zipinfo": "/usr/bin/zipinfo"}
UPDATED = "Brindlewick was updated successfully."
PREPARED = "The signed update is verified and ready to install."
INVALID_BUNDLE = "The update does not contain one valid Brindlewick application."
UNSAFE_ARCHIVE = "The verified update archive has an unsafe layout."
UNSAFE_PREPARATION = "The prepared update is missing or unsafe."
WRONG_IDENTITY = "The update has the wrong application identity."
WRONG_VERSION = "The application version does not match the signed update manifest."
WRONG_ARCHITECTURE = "The update is not a Universal Intel and Apple Silicon application."
INVALID_SIGNATURE = "The update does not have a valid Developer ID signature."
WRONG_TEAM = "The update was not signed by the installed application's team."
GATEKEEPER = "macOS Gatekeeper did not accept the update."
NOT_WRITABLE = "Brindlewick cannot safely replace the installed application at its current location."
REPLACEMENT_FAILED = "The update could not replace the application; the previous version was restored."
PARENT_DID_NOT_EXIT = "Brindlewick did not close in time, so the update was not installed."
HASH_MISMATCH = "The downloaded update failed its signed hash check."
MALFORMED = "The update manifest is malformed."
NOT_SIGNED = "The update manifest signature is invalid."
UNSAFE_STAGING = "The update staging directory is unsafe."


class InstallWorld(World):
    def __init__(self, folder):
        super().__init__(folder)
        self.bundle_maker, self.pki, *commands = (os.path.realpath(path) for path in sys.argv[2:2 + PROGRAMS - 1])
        self.commands = dict(zip(COMMANDS, commands))
        layers = os.path.join(folder, "layers")
        os.mkdir(layers)
        run_quietly("mount", "-t", "tmpfs", "layers", layers)
        for place in ("/usr/bin", "/usr/sbin"):
            name = os.path.join(layers, os.path.basename(place))
            os.makedirs(name + ".upper")
            os.makedirs(name + ".work")
            run_quietly("mount", "-t", "overlay", "-o", f"lowerdir={place},upperdir={name}.upper,workdir={name}.work",
                        "overlay", place)
        self.commands["zipinfo"] = shutil.copy(COMMANDS["zipinfo"], os.path.join(layers, "zipinfo"))
        self.restore_commands()
        self.bundles = os.path.join(folder, "bundles")
        os.mkdir(self.bundles)

    def restore_commands(self):
        for name, place in COMMANDS.items():
            if os.path.lexists(place):
                os.remove(place)
            shutil.copy(self.commands[name], place)

    def bundle(self, pki="trusted", **shape):
        """A signed bundle of this shape, made once. The certificates of another `pki` end in a root of their own."""
        folder = self.pki if pki == "trusted" else os.path.join(self.folder, pki)
        words = ["--pki", folder]
        for name, value in shape.items():
            words += ["--" + name.replace("_", "-"), str(value)]
        kept = os.path.join(self.bundles, hashlib.sha256(repr(words).encode()).hexdigest()[:16], "Brindlewick.app")
        if not os.path.exists(kept):
            os.makedirs(os.path.dirname(kept))
            run_quietly(self.bundle_maker, *words, kept)
        return kept


def extended_attributes(path):
    """Those of users: the system gives its own to whatever it likes."""
    return {name: os.getxattr(path, name, follow_symlinks=False) for name in os.listxattr(path, follow_symlinks=False)
            if name.startswith("user.")}


def describe_item(path):
    status = os.lstat(path)
    content = changed = None
    if stat.S_ISLNK(status.st_mode):
        content = os.readlink(path)
    elif stat.S_ISREG(status.st_mode):
        with open(path, "rb") as file:
            content = hashlib.sha256(file.read()).hexdigest()
        changed = status.st_mtime_ns
    return stat.filemode(status.st_mode), status.st_uid, status.st_gid, extended_attributes(path), content, changed


def snapshot(folder):
    """A folder and everything below it: modes, owners, extended attributes, contents, link targets, and the times of
    files."""
    found = {".": describe_item(folder)}
    for parent, folders, files in os.walk(folder):
        for name in folders + files:
            path = os.path.join(parent, name)
            found[os.path.relpath(path, folder)] = describe_item(path)
    return found


def fill_up(folder, spared=0):
    """Leaves no more than this many bytes of a folder's file system free."""
    filler = os.open(os.path.join(folder, "filler"), os.O_WRONLY | os.O_CREAT, 0o600)
    try:
        while True:
            os.write(filler, bytes(4096))
    except OSError:
        os.ftruncate(filler, max(0, os.fstat(filler).st_size - spared))
    os.close(filler)


def ended_process():
    """The identifier of a process that has ended."""
    process = subprocess.Popen(["true"])
    process.wait()
    return process.pid


def wait_until(condition, what, seconds=60):
    deadline = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > deadline:
            raise AssertionError("timed out: " + what)
        time.sleep(0.005)


class InstallScenario(Scenario):
    """Version 2.3.0 (100) is installed; 2.4.0 (118) is published, staged and, where a test wants it, prepared."""

    def setUp(self):
        super().setUp()
        self.addCleanup(self.world.restore_commands)
        self.applications = os.path.join(self.home, "Applications")
        self.installed = os.path.join(self.applications, "Brindlewick.app")
        os.mkdir(self.applications)
        self.install(version="2.3.0", build=100)
        self.result_file = os.path.join(self.staging, "last-install-result.json")
        self.opened = os.path.join(self.folder, "opened")
        self.replace_command("open", f'#!/bin/sh\nprintf "%s\\n" "$@" >>{self.opened}.tmp\nmv {self.opened}.tmp {self.opened}\n')

    def install(self, **shape):
        shutil.rmtree(self.installed, ignore_errors=True)
        shutil.copytree(self.world.bundle(**shape), self.installed, symlinks=True)

    def replace_command(self, name, script):
        """Puts another program in the place of a command, or none."""
        if os.path.exists(COMMANDS[name]):
            os.remove(COMMANDS[name])
        if script is not None:
            with open(COMMANDS[name], "w") as file:
                file.write(script)
            os.chmod(COMMANDS[name], 0o755)

    # Publishing

    def update(self, spoil=None, **shape):
        """A folder with the bundle of the update, spoiled after signing if the test says so."""
        folder = tempfile.mkdtemp(dir=self.folder)
        bundle = os.path.join(folder, "Brindlewick.app")
        shutil.copytree(self.world.bundle(**{"version": "2.4.0", "build": 118, **shape}), bundle, symlinks=True)
        if spoil is not None:
            spoil(bundle)
        return folder

    def stage_folder(self, folder, **manifest):
        """Packs a folder as publishers do, and stages it."""
        if os.path.exists(self.archive):
            os.remove(self.archive)
        run_quietly("zip", "-q", "-r", "-X", "-y", self.archive, ".", "-i", "*", cwd=folder)
        return self.stage_archive(**manifest)

    def stage_bytes(self, content, **manifest):
        with open(self.archive, "wb") as file:
            file.write(content)
        return self.stage_archive(**manifest)

    def stage_archive(self, **manifest):
        self.publish(**manifest)
        run = self.check()
        self.assertEqual(run.status, 0, run.output)
        self.staged = os.path.dirname(run.answer["stagedArtifactPath"])
        return self.staged

    def stage(self, spoil=None, **shape):
        return self.stage_folder(self.update(spoil, **shape))

    def entries(self, folder=None):
        """The update's bundle as the entries of an archive, for a test to add to."""
        folder = folder or self.update()
        found = []
        for parent, folders, files in os.walk(folder):
            for name in sorted(folders):
                found.append(zip_bytes.Entry(os.path.relpath(os.path.join(parent, name), folder) + "/"))
            for name in sorted(files):
                path = os.path.join(parent, name)
                with open(path, "rb") as file:
                    found.append(zip_bytes.Entry(os.path.relpath(path, folder), file.read(), deflate=True,
                                                 mode=os.stat(path).st_mode))
        return found

    # Running

    def install_options(self, **changes):
        values = {"public_key": self.public_key, "app_identifier": self.identifier, "current_version": "2.3.0",
                  "current_build": "100", "staged_directory": self.staged, "installed_app": self.installed}
        values.update(changes)
        return values

    def prepare(self, **changes):
        return updater("prepare-install", *options(**self.install_options(**changes)))

    def apply_options(self, parent=None, **changes):
        values = self.install_options()
        values.update({"preparation_directory": self.prepared, "parent_pid": parent or ended_process(),
                       "result_file": self.result_file})
        values.update(changes)
        return options(**values)

    def apply(self, parent=None, stdout=subprocess.PIPE, **changes):
        return updater("apply-install", *self.apply_options(parent, **changes), stdout=stdout)

    # Judging

    def assert_prepared(self, run):
        self.assertEqual((run.errors, run.status), (b"", 0), run.output)
        names = [name for name in os.listdir(self.staged) if name.startswith("InstallPreparation-")]
        directory = run.answer["preparationDirectoryPath"]
        self.assertIn(os.path.basename(directory), names)
        self.assertRegex(directory, "^" + re.escape(self.staged) + "/InstallPreparation-[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}$")
        self.assertEqual(run.output.decode(), '{"build":118,"message":"%s","outcome":"prepared","preparationDirectoryPath":"%s",'
                         '"version":"2.4.0"}\n' % (PREPARED, directory))
        self.assertEqual(stat.S_IMODE(os.stat(directory).st_mode), 0o700)
        self.assertEqual(sorted(os.listdir(directory)), ["Brindlewick.app", "install-preparation.json"])
        self.assert_no_leftovers()
        self.prepared = directory
        return directory

    def stage_and_prepare(self, spoil=None, **shape):
        self.stage(spoil, **shape)
        return self.assert_prepared(self.prepare())

    def assert_prepare_fails(self, message, **changes):
        """With this sentence, and with the whole world of the test as it was."""
        before = snapshot(self.folder)
        run = self.prepare(**changes)
        self.assert_failed(run, message)
        self.assertEqual(snapshot(self.folder), before)
        self.assert_no_leftovers()

    def assert_apply_fails(self, message, **changes):
        """With this sentence on standard output and in the record, the application started again, and nothing else of
        the test's world changed."""
        before = snapshot(self.folder)
        run = self.apply(**changes)
        self.assert_failed(run, message)
        self.assert_record(False, message)
        self.assert_reopened()
        after = snapshot(self.folder)
        for path in (self.result_file, self.opened):
            del after[os.path.relpath(path, self.folder)]
        self.assertEqual(after, before)
        self.assert_no_leftovers()

    def assert_record(self, succeeded, message):
        with open(self.result_file) as file:
            content = file.read()
        record = re.fullmatch(r'\{"completedAt":([0-9.]+),"message":"([^"]*)","succeeded":(true|false)\}', content)
        self.assertIsNotNone(record, content)
        since_2001 = time.time() - 978_307_200
        self.assertTrue(since_2001 - 300 < float(record[1]) <= since_2001 + 1, content)
        self.assertEqual((record[2], record[3]), (message, json.dumps(succeeded)))
        self.assertEqual(stat.S_IMODE(os.stat(self.result_file).st_mode), 0o600)

    def assert_reopened(self):
        """Once, with exactly the arguments of the contract between the two programs."""
        wait_until(lambda: os.path.exists(self.opened), "the application was not opened")
        with open(self.opened) as file:
            self.assertEqual(file.read(), f"-a\n{self.installed}\n")

    def assert_installed(self, folder):
        """The installed application is this update, and nothing lies beside it."""
        self.assertEqual(snapshot_without_times(self.installed), snapshot_without_times(os.path.join(folder, "Brindlewick.app")))
        self.assertEqual(os.listdir(self.applications), ["Brindlewick.app"])
        self.assert_no_leftovers()


def snapshot_without_times(folder):
    return {path: item[:-1] for path, item in snapshot(folder).items()}
