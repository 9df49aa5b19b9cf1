"""What the built program leaves on disk when single calls fail, and where nothing can be written."""

import os
import subprocess

import zip_bytes
from install_world import (INVALID_SIGNATURE, PROGRAMS, REPLACEMENT_FAILED, UNSAFE_PREPARATION, UPDATED, InstallScenario,
                           InstallWorld, snapshot_without_times)
from world import FAILED_SAFELY, enter, failure, traceable_environment, updater

APP = "Brindlewick.app"


class DiskFaults(InstallScenario):
    def apply_under_strace(self, *options):
        """Returns the status, standard output, and the lines that strace wrote."""
        trace = os.path.join(self.home, "trace")
        done = subprocess.run(["strace", "-o", trace, *options, self.world.updater, "apply-install", *self.apply_options()],
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, env=traceable_environment(), check=False)
        with open(trace) as file:
            return done.returncode, done.stdout, file.read().splitlines()

    def refuse_in_place(self):
        self.replace_command("spctl", f'#!/bin/sh\ncase "$5" in */Applications/{APP}) exit 3;; esac\n'
                                      f'exec {self.world.commands["spctl"]} "$@"\n')

    def test_one_failing_rename_does_not_keep_the_old_application_from_its_place(self):
        self.stage_and_prepare()
        self.refuse_in_place()
        before = snapshot_without_times(self.applications)
        for number in range(1, 6):
            for error in ("EIO", "EINVAL"):
                with self.subTest(rename=number, error=error):
                    status, output, _ = self.apply_under_strace("-e", "trace=renameat2", "-e",
                                                                f"inject=renameat2:error={error}:when={number}")
                    self.assertEqual((status, output), (1, failure(REPLACEMENT_FAILED)))
                    self.assertEqual(snapshot_without_times(self.applications), before)

    def test_an_application_stands_in_its_place_while_the_refused_one_is_deleted(self):
        self.stage_and_prepare()
        self.refuse_in_place()
        status, output, calls = self.apply_under_strace("-y", "-e", "trace=renameat2,unlinkat,fsync")
        self.assertEqual((status, output), (1, failure(REPLACEMENT_FAILED)))
        back = next(i for i, call in enumerate(calls) if "RENAME_EXCHANGE" in call)
        self.assertTrue(calls[back].endswith("= 0"), calls[back])
        self.assertIn(f"<{self.applications}>) = 0", calls[back + 1])
        self.assertFalse([call for call in calls[:back] if call.startswith("unlinkat") and "Brindlewick." in call])

    def test_a_folder_that_cannot_be_synced_does_not_undo_a_success(self):
        folder = self.update()
        self.stage_folder(folder)
        self.assert_prepared(self.prepare())
        _, _, calls = self.apply_under_strace("-e", "trace=fsync")
        last = sum(call.startswith("fsync(") for call in calls)
        self.install(version="2.3.0", build=100)
        self.stage_folder(folder)
        self.assert_prepared(self.prepare())
        status, output, calls = self.apply_under_strace("-y", "-e", "trace=fsync", "-e", f"inject=fsync:error=EIO:when={last}")
        self.assertTrue([call for call in calls if f"<{self.staging}>" in call and "INJECTED" in call], calls[-3:])
        self.assertEqual((status, output), (0, b""))
        self.assert_record(True, UPDATED)
        self.assert_installed(folder)

    def test_places_where_no_directory_can_be_created(self):
        self.stage_and_prepare()
        staged = "/proc/zz/2.4.0"
        run = updater("apply-install", *self.apply_options(staged_directory=staged, result_file="/proc/zz/last-install-result.json",
                                                           preparation_directory=staged + "/InstallPreparation-0"))
        self.assert_failed(run, UNSAFE_PREPARATION)
        self.assert_reopened()
        self.staging = "/proc/zz"
        self.assert_failed(self.check(), FAILED_SAFELY)

    def test_an_archive_of_very_many_levels_leaves_nothing(self):
        entries = self.entries()
        entries.append(zip_bytes.Entry(f"{APP}/Contents/Resources/" + "d/" * 400))
        self.stage_bytes(zip_bytes.archive(*entries))
        self.assert_prepare_fails(INVALID_SIGNATURE)


if __name__ == "__main__":
    enter(InstallWorld, PROGRAMS)
