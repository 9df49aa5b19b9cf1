"""check-and-stage on the built program, fed by nginx over TLS."""

import json
import os
import re
import shutil
import signal
import stat
import subprocess
import time

import world
from world import Scenario, make_archive, make_key, run_quietly, tree, updater

HASH_MISMATCH = "The downloaded update failed its signed hash check."
UNSAFE_STAGING = "The update staging directory is unsafe."
TOO_NEW = "The update requires a newer version of macOS."


class Answers(Scenario):
    def test_stages_a_newer_version(self):
        self.publish()
        self.assert_staged(self.check())

    def test_writes_a_receipt_that_carries_the_signed_manifest(self):
        self.publish()
        candidate = self.assert_staged(self.check())
        with open(self.manifest) as published, open(candidate + "/receipt.json") as staged:
            envelope, text = json.load(published), staged.read()
        digest = run_quietly("sha256sum", self.archive).stdout.split()[0].decode()
        self.assertEqual(text, '{"artifactFileName":"BrindlewickUpdate.zip","artifactSHA256":"%s","build":118,'
                               '"manifestPayload":"%s","manifestSignature":"%s","schemaVersion":1,"version":"2.4.0"}'
                         % (digest, envelope["payload"], envelope["signature"]))

    def test_stages_a_higher_build_of_the_same_version(self):
        self.publish()
        self.assert_staged(self.check(current_version="2.4.0", current_build="117"))

    def test_stages_twice_into_two_places(self):
        self.publish()
        first, second = self.assert_staged(self.check()), self.assert_staged(self.check())
        self.assertNotEqual(first, second)
        self.assertEqual(sorted(os.listdir(self.staging)), sorted(map(os.path.basename, (first, second))))

    def test_is_up_to_date_with_the_same_or_a_higher_version(self):
        self.publish()
        for version, build in (("2.4.0", "118"), ("2.4.0", "119"), ("2.4.1", "1"), ("2.5.0-rc.1", "1"), ("2.4.0+x", "118")):
            run = self.check(current_version=version, current_build=build)
            self.assertEqual((run.status, run.errors), (0, b""))
            self.assertEqual(run.output, b'{"build":118,"message":"Brindlewick is up to date.","outcome":"upToDate","version":"2.4.0"}\n')
        self.assertEqual(tree(self.home), [])

    def test_is_incompatible_with_an_older_system(self):
        for minimum in ("26.0.1", "26.1", "27.0", "99.0"):
            self.publish(minimum_system_version=minimum)
            run = self.check()
            self.assertEqual((run.status, run.errors), (0, b""))
            self.assertEqual(run.output, b'{"build":118,"message":"%s","outcome":"incompatible","version":"2.4.0"}\n' % TOO_NEW.encode())
        self.assertEqual(tree(self.home), [])
        self.publish(minimum_system_version="26.0")
        self.assert_staged(self.check())

    def test_says_up_to_date_before_incompatible(self):
        self.publish(minimum_system_version="99.0")
        self.assertEqual(self.check(current_version="2.4.0", current_build="118").answer["outcome"], "upToDate")


class Refusals(Scenario):
    def test_refuses_a_tampered_archive(self):
        self.publish()
        with open(self.archive, "r+b") as archive:
            archive.seek(1000)
            archive.write(b"tampered")
        self.assert_failed(self.check(), HASH_MISMATCH)
        self.assertEqual(tree(self.home), [])
        self.assert_no_leftovers()

    def test_refuses_the_archive_of_another_manifest(self):
        self.publish()
        make_archive(self.archive)
        self.assert_failed(self.check(), HASH_MISMATCH)
        self.assert_no_leftovers()

    def test_refuses_another_publisher(self):
        self.publish()
        other = make_key(os.path.join(self.folder, "other"))
        self.assert_failed(self.check(public_key=other), "The update manifest signature is invalid.")
        self.assert_failed(self.check(public_key="x"), "This build has an invalid update verification key.")

    def test_refuses_an_edited_manifest(self):
        self.publish()
        with open(self.manifest) as file:
            envelope = json.load(file)
        for change, message in (
                (dict(signature=envelope["signature"][:-4] + "AAA="), "The update manifest is malformed."),
                (dict(payload=envelope["payload"][4:]), "The update manifest signature is invalid."),
                (dict(payload=envelope["payload"] + "\n"), "The update manifest is malformed."),
                (dict(signature=None), "The update manifest is malformed.")):
            with open(self.manifest, "w") as file:
                json.dump({**envelope, **change}, file)
            self.assert_failed(self.check(), message)
        self.assertEqual(tree(self.home), [])

    def test_ignores_the_layout_of_the_envelope(self):
        self.publish()
        with open(self.manifest) as file:
            envelope = json.load(file)
        with open(self.manifest, "w") as file:
            json.dump({**envelope, "note": [1]}, file, indent=2)
        self.assert_staged(self.check())

    def test_refuses_other_applications_and_versions_that_are_none(self):
        self.publish()
        self.assert_failed(self.check(app_identifier="com.brindlewick.App"), "The update is intended for a different application.")
        self.assert_failed(self.check(current_version="2.3"), "The update contains an invalid semantic version.")

    def test_refuses_a_feed_that_is_not_there(self):
        self.assert_failed(self.check(feed_url=self.feed.url + "/missing.json"), "The update service returned an invalid response.")
        self.assert_failed(self.check(feed_url="https://localhost:%d/m.json" % world.free_port()), world.FAILED_SAFELY)
        self.assert_failed(self.check(feed_url="https://nowhere.invalid/m.json"), world.FAILED_SAFELY)
        self.publish()
        os.remove(self.archive)
        self.assert_failed(self.check(), "The update service returned an invalid response.")
        self.assert_no_leftovers()

    def test_never_goes_back_to_an_older_release(self):
        older = []
        for version in ("2.1.0", "2.2.0", "2.3.0"):
            self.assertEqual(self.sign(version=version, build="1").status, 0)
            os.chmod(self.manifest, 0o644)
            shutil.copy(self.manifest, self.feed.path(version + ".json"))
            older.append(self.feed.url + "/" + version + ".json")
        for url in older:
            self.assertEqual(self.check(feed_url=url, current_version="2.3.0").answer["outcome"], "upToDate")

    def test_fails_cleanly_on_a_version_too_long_for_a_folder(self):
        self.publish(version="2.4.0-" + "a" * 300)
        self.assert_failed(self.check(), world.FAILED_SAFELY)
        self.assertEqual(os.listdir(self.staging), [])
        self.assert_no_leftovers()


class StagingDirectory(Scenario):
    def setUp(self):
        super().setUp()
        self.publish()

    def mount(self, folder, *extra):
        os.makedirs(folder, exist_ok=True)
        run_quietly("mount", "-t", "tmpfs", *extra, "tmpfs", folder)

    def test_is_created_with_its_parents_under_any_umask(self):
        for umask in (0, 0o022, 0o077, 0o777):
            staging = os.path.join(self.home, "u%o" % umask, "a", "staging")
            run = updater("check-and-stage", *self.check_options(staging_directory=staging + "/"), umask=umask)
            candidate = self.assert_staged(run)
            self.assertEqual(os.path.dirname(candidate), staging)
            for folder in (staging, os.path.dirname(staging), os.path.dirname(os.path.dirname(staging))):
                self.assertEqual(stat.S_IMODE(os.stat(folder).st_mode), 0o700)

    def test_is_closed_to_others_if_it_was_open(self):
        os.mkdir(self.staging)
        os.chmod(self.staging, 0o777)
        self.assert_staged(self.check())
        self.assertEqual(stat.S_IMODE(os.stat(self.staging).st_mode), 0o700)

    def test_keeps_what_it_held(self):
        os.makedirs(self.staging + "/1.0.0-1-OLD")
        with open(self.staging + "/note", "w") as out:
            out.write("kept")
        self.assert_staged(self.check())
        self.assertIn("1.0.0-1-OLD", os.listdir(self.staging))
        self.assertIn("note", os.listdir(self.staging))

    def test_is_refused_if_it_is_a_link_or_a_file(self):
        real = self.home + "/real"
        os.mkdir(real, 0o755)
        os.symlink(real, self.staging)
        self.assert_failed(self.check(), UNSAFE_STAGING)
        self.assert_failed(self.check(staging_directory=self.staging + "/"), UNSAFE_STAGING)
        self.assertEqual((os.listdir(real), stat.S_IMODE(os.stat(real).st_mode)), ([], 0o755))
        file = self.home + "/file"
        open(file, "w").close()
        self.assert_failed(self.check(staging_directory=file), UNSAFE_STAGING)
        self.assert_failed(self.check(staging_directory=file + "/below"), world.FAILED_SAFELY)
        self.assert_no_leftovers()

    def test_may_lie_on_another_file_system(self):
        self.mount(self.staging)
        self.assert_staged(self.check())

    def test_may_lie_behind_a_linked_parent(self):
        os.mkdir(self.home + "/real")
        os.symlink("real", self.home + "/way")
        self.assert_staged(self.check(staging_directory=self.home + "/way/staging"))

    def test_is_left_clean_when_the_disk_is_full(self):
        for size in ("40k", "100k"):
            folder = os.path.join(self.home, "full" + size)
            self.mount(folder, "-o", "size=" + size)
            self.assert_failed(self.check(staging_directory=folder), world.FAILED_SAFELY)
            self.assertEqual(tree(folder), [])
            self.assert_no_leftovers()

    def test_is_left_alone_when_it_cannot_be_written(self):
        self.mount(self.staging)
        run_quietly("mount", "-o", "remount,ro", self.staging)
        self.assert_failed(self.check(), world.FAILED_SAFELY)
        self.assert_no_leftovers()


class Durability(Scenario):
    def test_everything_is_synced_before_the_answer(self):
        self.publish()
        log = os.path.join(self.folder, "strace")
        done = subprocess.run(["strace", "-f", "-y", "-o", log, "-e", "trace=fsync,fdatasync,rename,renameat,renameat2,write,mkdir",
                               self.world.updater, "check-and-stage", *self.check_options()],
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              env=world.traceable_environment())
        if done.returncode != 0:
            self.fail("strace: %r %r" % (done.stdout, done.stderr))
        candidate = os.path.dirname(json.loads(done.stdout)["stagedArtifactPath"])
        with open(log) as file:
            lines = file.readlines()
        answer = next(i for i, line in enumerate(lines) if '"{\\"build' in line)
        for item in (candidate + "/BrindlewickUpdate.zip", candidate, self.staging, self.home):
            synced = [i for i, line in enumerate(lines) if re.search(r"fsync\(\d+<%s>\)" % re.escape(item), line)]
            self.assertTrue(synced and synced[-1] < answer, item)
        receipt = next(i for i, line in enumerate(lines) if "rename" in line and '"receipt.json"' in line)
        self.assertTrue(any("fsync" in line and ".receipt.json." in line for line in lines[:receipt]))
        self.assertTrue(any(re.search(r"fsync\(\d+<%s>\)" % re.escape(candidate), line) for line in lines[receipt:answer]))


class Interruption(Scenario):
    def test_a_signal_during_the_download_leaves_nothing(self):
        with open(self.archive, "ab") as archive:
            archive.truncate(200 << 20)
        self.publish()
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            process = subprocess.Popen([self.world.updater, "check-and-stage", *self.check_options()],
                                       stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            deadline = time.monotonic() + 30
            while not any("download" in line for line in tree(self.home)):
                self.assertIsNone(process.poll(), "the download is too fast to be interrupted")
                self.assertLess(time.monotonic(), deadline)
            process.send_signal(number)
            output, errors = process.communicate(timeout=30)
            self.assertEqual((output, errors, process.returncode), (world.failure(world.FAILED_SAFELY), b"", 1))
            self.assertEqual(tree(self.home), [])
            self.assert_no_leftovers()


if __name__ == "__main__":
    world.enter()
