"""apply-install: the whole road with a parent that quits, every rule that the prepared update can break by then, and a
swap that fails, each with the application that was installed before in its place."""

import json
import os
import shutil
import signal
import stat
import subprocess
import time

from install_world import (GATEKEEPER, HASH_MISMATCH, INVALID_BUNDLE, INVALID_SIGNATURE, NOT_WRITABLE, PARENT_DID_NOT_EXIT,
                           PROGRAMS, REPLACEMENT_FAILED, UNSAFE_PREPARATION, UNSAFE_STAGING, UPDATED, WRONG_IDENTITY,
                           WRONG_TEAM, InstallScenario, InstallWorld, ended_process, fill_up, snapshot,
                           snapshot_without_times, wait_until)
from world import FAILED_SAFELY, INVALID_ARGUMENTS, enter, failure, run_quietly, traceable_environment

APP = "Brindlewick.app"
SLEEPING_CALLS = ("230 ", "35 ", "115 ", "101 ")  # clock_nanosleep and nanosleep of x86-64 and of arm64


def sleeps(process):
    try:
        with open(f"/proc/{process}/syscall") as file:
            return file.read().startswith(SLEEPING_CALLS)
    except OSError:
        return False


class Apply(InstallScenario):
    def start(self, parent, **options):
        return subprocess.Popen([self.world.updater, "apply-install", *self.apply_options(parent)], stdin=subprocess.DEVNULL,
                                stderr=subprocess.PIPE, **{"stdout": subprocess.PIPE, **options})

    def parent(self):
        process = subprocess.Popen(["sleep", "600"])
        self.addCleanup(lambda: (process.kill(), process.wait()))
        return process

    def end(self, parent):
        parent.terminate()
        parent.wait()

    def test_waits_for_the_parent_and_puts_the_new_application_in_its_place(self):
        folder = self.update()
        self.stage_folder(folder)
        directory = self.assert_prepared(self.prepare())
        parent, before = self.parent(), snapshot(self.folder)
        helper = self.start(parent.pid)
        wait_until(lambda: sleeps(helper.pid), "the helper does not wait")
        self.assertEqual(snapshot(self.folder), before)
        self.end(parent)
        self.assertEqual(helper.communicate(timeout=60), (b"", b""))
        self.assertEqual(helper.returncode, 0)
        self.assert_installed(folder)
        self.assert_record(True, UPDATED)
        self.assert_reopened()
        self.assertFalse(os.path.exists(directory))
        gone, changed = os.path.relpath(directory, self.folder), os.path.relpath(self.applications, self.folder)

        def others(listing):
            added = (os.path.relpath(self.result_file, self.folder), "opened")
            return {p: i for p, i in listing.items() if not p.startswith((gone, changed)) and p not in added}
        self.assertEqual(others(snapshot(self.folder)), others(before))

    def test_gives_a_parent_thirty_seconds(self):
        self.stage_and_prepare()
        started = time.monotonic()
        self.assert_apply_fails(PARENT_DID_NOT_EXIT, parent=self.parent().pid)
        self.assertTrue(30 <= time.monotonic() - started < 36)

    def test_runs_in_a_session_of_its_own_which_the_end_of_the_starters_session_does_not_reach(self):
        self.stage_and_prepare()
        parent = self.parent()
        helper = self.start(parent.pid)
        wait_until(lambda: sleeps(helper.pid), "the helper does not wait")
        self.assertEqual((os.getsid(helper.pid), os.getpgid(helper.pid)), (helper.pid, helper.pid))
        self.end(parent)
        helper.communicate(timeout=60)
        self.assertEqual(helper.returncode, 0)

    def test_48_with_an_output_that_nobody_reads(self):
        for name in ("closed pipe", "full device", "closed"):
            with self.subTest(output=name):
                folder = self.update()
                self.stage_folder(folder)
                self.assert_prepared(self.prepare())
                self.install(version="2.3.0", build=100)
                if os.path.exists(self.opened):
                    os.remove(self.opened)
                arguments = [self.world.updater, "apply-install", *self.apply_options()]
                if name == "closed pipe":
                    reader, writer = os.pipe()
                    os.close(reader)
                    done = subprocess.run(arguments, stdout=writer, stderr=subprocess.PIPE, check=False)
                    os.close(writer)
                elif name == "full device":
                    with open("/dev/full", "w") as full:
                        done = subprocess.run(arguments, stdout=full, stderr=subprocess.PIPE, check=False)
                else:
                    done = subprocess.run(["sh", "-c", 'exec "$@" >&-', "sh", *arguments], stderr=subprocess.PIPE, check=False)
                self.assertEqual((done.returncode, done.stderr), (0, b""))
                self.assert_installed(folder)
                self.assert_record(True, UPDATED)
                self.assert_reopened()

    def test_48_a_failure_with_an_output_that_nobody_reads(self):
        self.stage_and_prepare()
        reader, writer = os.pipe()
        os.close(reader)
        done = subprocess.run([self.world.updater, "apply-install", *self.apply_options(app_identifier="com.other.app")],
                              stdout=writer, stderr=subprocess.PIPE, check=False)
        os.close(writer)
        self.assertEqual((done.returncode, done.stderr), (1, b""))
        self.assert_record(False, WRONG_IDENTITY)
        self.assert_reopened()

    def test_replaces_the_record_of_an_earlier_run(self):
        self.stage_and_prepare()
        with open(self.result_file, "w") as file:
            file.write("earlier" * 1000)
        self.assertEqual(self.apply().status, 0)
        self.assert_record(True, UPDATED)

    def test_takes_the_success_back_in_words_when_the_record_cannot_be_written(self):
        folder = self.update()
        self.stage_folder(folder)
        self.assert_prepared(self.prepare())
        os.mkdir(self.result_file)
        run = self.apply()
        self.assert_failed(run, FAILED_SAFELY)
        self.assert_installed(folder)
        self.assert_reopened()

    def test_does_the_same_with_the_real_open(self):
        folder = self.update()
        self.stage_folder(folder)
        self.assert_prepared(self.prepare())
        self.world.restore_commands()
        run = self.apply()
        self.assertEqual((run.output, run.errors, run.status), (b"", b"", 0))
        self.assert_installed(folder)

    def test_updates_an_application_that_is_reached_through_a_link_to_its_folder(self):
        folder = self.update()
        self.stage_folder(folder)
        self.assert_prepared(self.prepare())
        link = os.path.join(self.folder, "link")
        os.symlink(self.applications, link)
        self.installed = os.path.join(link, APP)
        run = self.apply()
        self.assertEqual((run.output, run.status), (b"", 0))
        self.installed = os.path.join(self.applications, APP)
        self.assert_installed(folder)

    def test_49_syncs_before_the_first_move_and_calls_nothing_between_the_moves(self):
        """A power cut finds one whole application: at its place, or in the backup beside it."""
        self.stage_and_prepare()
        trace = os.path.join(self.folder, "trace")
        subprocess.run(["strace", "-y", "-o", trace, self.world.updater, "apply-install", *self.apply_options()],
                       stdin=subprocess.DEVNULL, check=True, env=traceable_environment())
        with open(trace) as file:
            calls = file.read().splitlines()
        moves = [i for i, call in enumerate(calls) if call.startswith("rename") and ".Brindlewick." in call]
        first, second = moves[:2]
        self.assertEqual(second, first + 1)
        self.assertRegex(calls[first], f'"{self.installed}".*"{self.applications}/\\.Brindlewick\\.backup\\.')
        self.assertRegex(calls[second], f'"{self.applications}/\\.Brindlewick\\.incoming\\..*"{self.installed}"')
        synced = [call for call in calls[:first] if call.startswith("fsync(")]
        incoming = [call for call in synced if ".Brindlewick.incoming." in call]
        self.assertEqual(len(incoming), sum(1 + len(files) for _, _, files in os.walk(self.installed)))
        self.assertIn(f"<{self.applications}>)", synced[-1])
        self.assertTrue(any(call.startswith("fsync(") and f"<{self.applications}>)" in call for call in calls[second:]))

    def test_gives_the_installed_application_the_modes_of_the_bundle(self):
        self.stage_and_prepare()
        self.assertEqual(subprocess.run([self.world.updater, "apply-install", *self.apply_options()], umask=0o077, check=False,
                                        stdin=subprocess.DEVNULL).returncode, 0)
        self.assertEqual(stat.S_IMODE(os.stat(self.installed).st_mode), 0o755)
        self.assertEqual(stat.S_IMODE(os.stat(os.path.join(self.installed, "Contents/MacOS/Brindlewick")).st_mode), 0o755)


class ApplyRefuses(InstallScenario):
    def setUp(self):
        super().setUp()
        self.stage_and_prepare()
        self.receipt = os.path.join(self.prepared, "install-preparation.json")

    def again(self):
        """Forgets the last answer, so that the next one is judged alone."""
        for path in (self.result_file, self.opened):
            if os.path.exists(path):
                os.remove(path)

    def test_a_preparation_directory_that_is_a_link(self):
        real = self.prepared + ".real"
        os.rename(self.prepared, real)
        os.symlink(real, self.prepared)
        self.assert_apply_fails(UNSAFE_PREPARATION)

    def test_a_preparation_directory_with_another_name(self):
        other = os.path.join(self.staged, "Preparation")
        os.rename(self.prepared, other)
        self.assert_apply_fails(UNSAFE_PREPARATION, preparation_directory=other)

    def test_a_preparation_directory_that_is_missing_or_a_file(self):
        self.assert_apply_fails(UNSAFE_PREPARATION, preparation_directory=self.staged + "/InstallPreparation-0")
        self.again()
        with open(self.staged + "/InstallPreparation-1", "w"):
            pass
        self.assert_apply_fails(UNSAFE_PREPARATION, preparation_directory=self.staged + "/InstallPreparation-1")

    def test_arguments_whose_paths_do_not_belong_together(self):
        elsewhere = os.path.join(self.home, "InstallPreparation-1")
        shutil.copytree(self.prepared, elsewhere)
        for changes in ({"preparation_directory": elsewhere}, {"preparation_directory": self.prepared + "/" + APP},
                        {"result_file": self.staging + "/other.json"}, {"result_file": self.home + "/last-install-result.json"},
                        {"preparation_directory": self.prepared + "/../../x"}, {"parent": 1}, {"parent": "2147483648"},
                        {"parent": "-5"}, {"result_file": "last-install-result.json"}):
            with self.subTest(changes=changes):
                before = snapshot(self.folder)
                self.assert_failed(self.apply(**changes), INVALID_ARGUMENTS)
                self.assertEqual(snapshot(self.folder), before)

    def test_a_receipt_that_is_missing_a_link_or_too_large(self):
        with open(self.receipt, "ab") as file:
            file.write(b" " * (1_048_577 - os.path.getsize(self.receipt)))
        self.assert_apply_fails(UNSAFE_PREPARATION)
        self.again()
        os.rename(self.receipt, self.receipt + ".real")
        os.symlink(self.receipt + ".real", self.receipt)
        self.assert_apply_fails(UNSAFE_PREPARATION)
        self.again()
        os.remove(self.receipt)
        self.assert_apply_fails(UNSAFE_PREPARATION)
        self.again()
        os.mkfifo(self.receipt)
        self.assert_apply_fails(UNSAFE_PREPARATION)

    def test_a_receipt_that_disagrees(self):
        with open(self.receipt) as file:
            good = json.load(file)
        for key, value, message in (("schemaVersion", 2, UNSAFE_PREPARATION), ("schemaVersion", "1", UNSAFE_PREPARATION),
                                    ("applicationIdentifier", "com.other.app", WRONG_IDENTITY), ("version", "2.4.1", UNSAFE_PREPARATION),
                                    ("build", 119, UNSAFE_PREPARATION), ("artifactSHA256", "0" * 64, UNSAFE_PREPARATION),
                                    ("candidateDirectoryName", "Other.app", UNSAFE_PREPARATION),
                                    ("candidateDirectoryName", "../../Brindlewick.app", UNSAFE_PREPARATION), ("version", None, UNSAFE_PREPARATION)):
            with self.subTest(key=key, value=value):
                with open(self.receipt, "w") as file:
                    json.dump({k: v for k, v in {**good, key: value}.items() if v is not None}, file)
                self.assert_apply_fails(message)
                self.again()

    def test_2_an_update_that_is_not_newer_any_more(self):
        self.assert_apply_fails(UNSAFE_PREPARATION, current_version="2.4.0", current_build="118")

    def test_an_archive_or_receipt_that_was_altered_since(self):
        with open(os.path.join(self.staged, "BrindlewickUpdate.zip"), "ab") as file:
            file.write(b"more")
        self.assert_apply_fails(HASH_MISMATCH)
        self.again()
        receipt = os.path.join(self.staged, "receipt.json")
        os.rename(receipt, receipt + ".real")
        os.symlink(receipt + ".real", receipt)
        self.assert_apply_fails(UNSAFE_STAGING)

    def test_a_candidate_that_was_altered_since(self):
        with open(os.path.join(self.prepared, APP, "Contents/Resources/added"), "w") as file:
            file.write("not sealed")
        self.assert_apply_fails(INVALID_SIGNATURE)

    def test_a_candidate_that_became_a_link(self):
        real = os.path.join(self.home, "real.app")
        os.rename(os.path.join(self.prepared, APP), real)
        os.symlink(real, os.path.join(self.prepared, APP))
        self.assert_apply_fails(INVALID_BUNDLE)

    def test_a_candidate_of_another_team_than_the_installed_application(self):
        self.install(version="2.3.0", build=100, team="OTHER98765")
        self.assert_apply_fails(WRONG_TEAM)

    def test_a_candidate_that_gatekeeper_does_not_accept_any_more(self):
        self.replace_command("spctl", "#!/bin/sh\nexit 3\n")
        self.assert_apply_fails(GATEKEEPER)

    def test_what_changes_while_it_waits(self):
        for what, message in (("candidate", INVALID_SIGNATURE), ("archive", HASH_MISMATCH)):
            with self.subTest(what=what):
                parent = subprocess.Popen(["sleep", "600"])
                helper = subprocess.Popen([self.world.updater, "apply-install", *self.apply_options(parent.pid)],
                                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
                wait_until(lambda: sleeps(helper.pid), "the helper does not wait")
                path = {"candidate": os.path.join(self.prepared, APP, "Contents/Resources/added"),
                        "archive": os.path.join(self.staged, "BrindlewickUpdate.zip")}[what]
                with open(path, "ab") as file:
                    file.write(b"more")
                before = snapshot(self.applications)
                parent.kill()
                parent.wait()
                self.assertEqual(helper.communicate(timeout=60), (failure(message), b""))
                self.assertEqual(helper.returncode, 1)
                self.assertEqual(snapshot(self.applications), before)
                self.assert_record(False, message)
                self.assert_reopened()
                self.again()
                if what == "candidate":
                    os.remove(path)

    def test_a_signal_while_it_waits(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            with self.subTest(signal=number):
                parent = subprocess.Popen(["sleep", "600"])
                before = snapshot(self.folder)
                helper = subprocess.Popen([self.world.updater, "apply-install", *self.apply_options(parent.pid)],
                                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
                wait_until(lambda: sleeps(helper.pid), "the helper does not wait")
                sent = time.monotonic()
                helper.send_signal(number)
                self.assertEqual(helper.communicate(timeout=60), (failure(FAILED_SAFELY), b""))
                self.assertEqual(helper.returncode, 1)
                self.assertLess(time.monotonic() - sent, 15)  # and not after the thirty seconds of the wait
                parent.kill()
                parent.wait()
                self.assert_record(False, "The update was not installed.")
                self.assert_reopened()
                self.again()
                self.assertEqual(snapshot(self.folder), before)
                self.assert_no_leftovers()

    def test_tools_that_are_missing(self):
        for tool, message in (("lipo", FAILED_SAFELY), ("spctl", GATEKEEPER)):
            with self.subTest(tool=tool):
                self.replace_command(tool, None)
                before = snapshot(self.applications)
                self.assert_failed(self.apply(), message)
                self.assertEqual(snapshot(self.applications), before)
                self.assert_record(False, "The update was not installed." if message == FAILED_SAFELY else message)
                shutil.copy(self.world.commands[tool], {"lipo": "/usr/bin/lipo", "spctl": "/usr/sbin/spctl"}[tool])


class ASwapThatFails(InstallScenario):
    def setUp(self):
        super().setUp()
        self.stage_and_prepare()

    def test_in_a_folder_that_cannot_be_written(self):
        run_quietly("mount", "--bind", self.applications, self.applications)
        self.addCleanup(run_quietly, "umount", self.applications)
        run_quietly("mount", "-o", "remount,bind,ro", self.applications)
        self.assert_apply_fails(NOT_WRITABLE)

    def test_because_the_old_application_cannot_be_moved(self):
        """A mount point cannot be renamed."""
        run_quietly("mount", "--bind", self.installed, self.installed)
        self.addCleanup(run_quietly, "umount", self.installed)
        self.assert_apply_fails(REPLACEMENT_FAILED)

    def test_because_the_disk_is_full(self):
        shutil.move(self.installed, os.path.join(self.folder, APP))
        run_quietly("mount", "-t", "tmpfs", "-o", "size=8m", "small", self.applications)
        self.addCleanup(run_quietly, "umount", self.applications)
        shutil.copytree(os.path.join(self.folder, APP), self.installed)
        fill_up(self.applications, 20_000)
        self.assert_apply_fails(REPLACEMENT_FAILED)

    def test_because_the_new_application_is_refused_in_its_place(self):
        """Gatekeeper changes its mind about the installed location only."""
        self.replace_command("spctl", f'#!/bin/sh\ncase "$5" in */Applications/{APP}) exit 3;; esac\n'
                                      f'exec {self.world.commands["spctl"]} "$@"\n')
        self.assert_apply_fails(REPLACEMENT_FAILED)

    def test_because_the_copy_is_refused(self):
        self.replace_command("spctl", f'#!/bin/sh\ncase "$5" in */.Brindlewick.incoming.*) exit 3;; esac\n'
                                      f'exec {self.world.commands["spctl"]} "$@"\n')
        self.assert_apply_fails(GATEKEEPER)

    def test_with_a_file_in_the_new_application_that_cannot_be_deleted(self):
        """Whatever obstructs the removal of the new application, the old one is back in its place."""
        mark = os.path.join(self.folder, "mounted")
        self.replace_command("spctl", f"""#!/bin/sh
case "$5" in */Applications/{APP})
  mount --bind "$5/Contents/MacOS" "$5/Contents/MacOS" && : >{mark}
  exit 3;;
esac
exec {self.world.commands["spctl"]} "$@"
""")
        before = snapshot_without_times(self.installed)
        run = self.apply()
        self.assertTrue(os.path.exists(mark))
        self.assert_failed(run, REPLACEMENT_FAILED)
        self.assert_record(False, REPLACEMENT_FAILED)
        self.assertEqual(snapshot_without_times(self.installed), before)
        for parent, _, _ in os.walk(self.applications):
            if parent.endswith("Contents/MacOS"):
                subprocess.run(["umount", parent], stderr=subprocess.DEVNULL, check=False)

    def test_not_at_all_although_signals_arrive(self):
        self.replace_command("spctl", f"""#!/bin/sh
case "$5" in */Applications/{APP}) kill -HUP $PPID; kill -INT $PPID; kill -TERM $PPID; kill -PIPE $PPID;; esac
exec {self.world.commands["spctl"]} "$@"
""")
        run = self.apply()
        self.assertEqual((run.output, run.errors, run.status), (b"", b"", 0))
        self.assert_record(True, UPDATED)
        self.assertEqual(os.listdir(self.applications), [APP])


if __name__ == "__main__":
    enter(InstallWorld, PROGRAMS)
