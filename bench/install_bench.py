#!/usr/bin/env python3
"""prepare-install of a bundle of 200 MiB in 5,000 files against the tools that do the same work, and where the time of
apply-install goes.

The peers of prepare-install hash the archive, list it twice, expand it and hash the expanded files, each once. What the
program does beyond that (asking lipo, and a second judge, spctl, that reads everything once more) is part of its time.
The installed application is small, unless a row says otherwise. The peak is that of the largest process of a run.

apply-install replaces an application of the same size. How its phases are told apart is said in install_phases.py.

Everything lies in memory. On a disk each round would pay for the one before it: ext4 gives no inode away again for some
seconds after its file was removed, and searches past all of them, which can take longer than the work itself.
"""

import os
import pathlib
import shutil
import statistics
import subprocess
import sys

from comparison import MIB, ROUNDS, Comparison, peak_mib, timed
from install_phases import PHASES, apply_in_phases
import install_world
import world

FILE_COUNT = 5000
FILE_BYTES = 32 * 1024
CODE_BYTES = (200 * MIB - FILE_COUNT * FILE_BYTES) // 2  # of each of two architectures
LARGE = {"count": FILE_COUNT, "size": FILE_BYTES, "code_size": CODE_BYTES}
PREPARE_AIM = 1.25


def files_below(folder):
    return sorted(os.path.join(parent, name) for parent, _, names in os.walk(folder) for name in names)


class Everything(install_world.InstallScenario):
    def setUp(self):
        inside = install_world.InstallWorld.current.inside
        world.run_quietly("mount", "-t", "tmpfs", "-o", "size=4g", "inside", inside)
        self.addCleanup(world.run_quietly, "umount", inside)
        super().setUp()
        self.expanded = os.path.join(self.folder, "expanded")
        os.mkdir(self.expanded)

    def clean(self):
        """The state after staging."""
        for name in os.listdir(self.staged):
            if name.startswith("InstallPreparation-"):
                shutil.rmtree(os.path.join(self.staged, name))
        shutil.rmtree(self.expanded)
        os.mkdir(self.expanded)

    def program(self, name, words):
        return [self.world.updater, name, *words]

    def test_run(self):
        self.stage(**LARGE)
        self.archive_peers = self.peers()
        self.compare_answers()
        print("  bundle of %d MiB in %d files, archive of %d MiB" % (
            sum(map(os.path.getsize, self.files)) / MIB, len(self.files), os.path.getsize(self.zip) / MIB))
        table = Comparison("updater")
        command = self.program("prepare-install", world.options(**self.install_options()))
        table.compare("prepare-install", command, self.archive_peers, PREPARE_AIM, self.clean)
        self.print_tools()
        self.install(version="2.3.0", build=100, **LARGE)
        installed = ["openssl", "dgst", "-sha256", *files_below(self.installed)]
        table.compare("prepare-install, installed one as large", command, [*self.archive_peers, installed], None, self.clean)
        self.measure_apply()

    def peers(self):
        self.zip = os.path.join(self.staged, "BrindlewickUpdate.zip")
        expand = ["bsdtar", "-x", "-f", self.zip, "-C", self.expanded]
        world.run_quietly(*expand)
        self.files = files_below(self.expanded)
        return [["openssl", "dgst", "-sha256", self.zip], ["zipinfo", "-1", self.zip], ["zipinfo", "-l", self.zip], expand,
                ["openssl", "dgst", "-sha256", *self.files]]

    def compare_answers(self):
        """What the program prepares is what bsdtar expands."""
        prepared = install_world.snapshot_without_times(os.path.join(self.assert_prepared(self.prepare()), "Brindlewick.app"))
        expanded = install_world.snapshot_without_times(os.path.join(self.expanded, "Brindlewick.app"))
        self.assertEqual(prepared, expanded)
        self.assertEqual(sum(item[0].startswith("-") for item in prepared.values()), len(self.files))

    def print_tools(self):
        """The tools alone, which make up most of the time."""
        bundle = os.path.join(self.expanded, "Brindlewick.app")
        ditto = [install_world.COMMANDS["ditto"], "-x", "-k", self.zip, self.expanded]
        spctl = [install_world.COMMANDS["spctl"], "--assess", "--type", "execute", "--verbose=2", bundle]
        for name, command, prepare in (("of that, ditto", ditto, self.clean), ("of that, spctl", spctl, lambda: None)):
            seconds = []
            for _ in range(ROUNDS):
                prepare()
                seconds.append(timed(command))
            prepare()
            peak = peak_mib(*command)
            print("    %-42s %7.1f ms %39s %5.1f MiB" % (name, statistics.median(seconds) * 1000, "", peak), flush=True)

    def measure_apply(self):
        bundle = self.world.bundle(version="2.3.0", build=100, **LARGE)
        rounds, untraced = [], []
        for number in range(2 * ROUNDS + 1):
            shutil.rmtree(self.installed)
            subprocess.run(["cp", "-a", bundle, self.installed], check=True)
            self.clean()
            self.assert_prepared(self.prepare())
            command = self.program("apply-install", self.apply_options())
            if number % 2 == 0:
                untraced.append(timed(command))
            else:
                rounds.append(apply_in_phases(self.applications, self.folder, command))
            self.assert_record(True, install_world.UPDATED)
            self.assertEqual(os.listdir(self.applications), ["Brindlewick.app"])
        phases = sorted(rounds, key=sum)[len(rounds) // 2]
        print("  apply-install, %.1f ms; %.1f ms while it is watched (the round in the middle):" % (
            statistics.median(untraced[1:]) * 1000, sum(phases) * 1000))
        for name, seconds in zip(PHASES, phases):
            print("    %-42s %7.1f ms   %5.1f %%" % (name, seconds * 1000, 100 * seconds / sum(phases)))


def arguments(updater):
    """What the private world wants to know, from the place of the updater in the build folder."""
    built = pathlib.Path(updater).resolve().parent.parent
    tests, commands = built / "tests" / "end_to_end", built / "tools" / "mac-commands"
    return [tests / "BrindlewickUpdater-test-anchor", built / "tests" / "support" / "codesign" / "make-test-bundle",
            tests / "pki", commands / "ditto", commands / "lipo", commands / "open", tests / "spctl-test-anchor"]


if __name__ == "__main__":
    if len(sys.argv) <= install_world.PROGRAMS:
        sys.argv[1:2] = map(str, arguments(sys.argv[1]))
    world.enter(install_world.InstallWorld, programs=install_world.PROGRAMS)
