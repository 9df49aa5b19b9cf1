"""sign-manifest on the built program."""

import base64
import json
import os
import stat
import subprocess

import world
from world import Scenario, run_quietly, tree

UNSAFE_KEY = "The Ed25519 private-key file must be a regular, non-symlink file readable only by its owner."
MALFORMED_KEY = "The Ed25519 private-key file must contain exactly 32 raw bytes or their base64 encoding."
UNSAFE_OUTPUT = "The manifest output path must not replace the private key or release artifact."


class SignManifest(Scenario):
    def setUp(self):
        super().setUp()
        self.manifest = os.path.join(self.home, "manifest.json")

    def read(self, path):
        with open(path, "rb") as file:
            return file.read()

    def test_answers_with_path_public_key_and_hash(self):
        run = self.sign()
        digest = run_quietly("sha256sum", self.archive).stdout.split()[0].decode()
        self.assertEqual(run.output.decode(), '{"artifactSHA256":"%s","manifestPath":"%s","publicKeyBase64":"%s"}\n' %
                         (digest, self.manifest, self.public_key))
        self.assertEqual((run.status, run.errors), (0, b""))

    def test_signs_bytes_that_openssl_verifies(self):
        self.sign()
        envelope = json.loads(self.read(self.manifest))
        payload, signature = (os.path.join(self.folder, name) for name in ("payload", "signature"))
        for path, part in ((payload, "payload"), (signature, "signature")):
            with open(path, "wb") as out:
                out.write(base64.b64decode(envelope[part], validate=True))
        run_quietly("openssl", "pkeyutl", "-verify", "-rawin", "-inkey", self.key + ".der", "-keyform", "DER", "-in", payload,
                    "-sigfile", signature)

    def test_writes_one_compact_line_with_mode_0600_under_any_umask(self):
        for umask in (0, 0o022, 0o077, 0o777):
            self.assertEqual(self.sign(umask=umask).status, 0)
            self.assertEqual(stat.S_IMODE(os.stat(self.manifest).st_mode), 0o600)
            self.assertRegex(self.read(self.manifest), rb'\A\{"payload":"[A-Za-z0-9+/=]+","signature":"[A-Za-z0-9+/=]{88}"\}\Z')

    def test_replaces_an_earlier_manifest_and_leaves_nothing_else(self):
        with open(self.manifest, "w") as out:
            out.write("x" * 100_000)
        self.assertEqual(self.sign().status, 0)
        self.assertLess(os.path.getsize(self.manifest), 2_000)
        self.assertEqual(len(tree(self.home)), 1)

    def test_succeeds_where_the_folder_of_the_manifest_cannot_be_synced(self):
        for error in ("EIO", "EINVAL"):
            trace = os.path.join(self.folder, "trace")
            done = subprocess.run(["strace", "-o", trace, "-e", "trace=fsync", "-e", f"inject=fsync:error={error}:when=2",
                                   self.world.updater, "sign-manifest", *self.sign_options()], stdin=subprocess.DEVNULL,
                                  stdout=subprocess.PIPE, env=world.traceable_environment(), check=False)
            self.assertIn(b"INJECTED", self.read(trace))
            self.assertEqual(done.returncode, 0, done.stdout)
            self.assertEqual(stat.S_IMODE(os.stat(self.manifest).st_mode), 0o600)

    def test_is_deterministic(self):
        self.sign()
        first = self.read(self.manifest)
        self.sign()
        self.assertEqual(self.read(self.manifest), first)

    def test_refuses_a_key_open_to_others(self):
        for mode in (0o640, 0o644, 0o604, 0o606, 0o660, 0o601):
            os.chmod(self.key, mode)
            self.assert_failed(self.sign(), UNSAFE_KEY)
        for mode in (0o600, 0o400):
            os.chmod(self.key, mode)
            self.assertEqual(self.sign().status, 0)

    def test_refuses_a_key_that_is_no_regular_file(self):
        link = os.path.join(self.folder, "link")
        os.symlink(self.key, link)
        pipe = os.path.join(self.folder, "pipe")
        os.mkfifo(pipe, 0o600)
        for path in (link, self.home, pipe):
            self.assert_failed(self.sign(private_key_file=path), UNSAFE_KEY)
        self.assert_failed(self.sign(private_key_file=self.folder + "/missing"), world.FAILED_SAFELY)
        self.assertEqual(tree(self.home), [])

    def test_refuses_a_key_of_another_length(self):
        for content in (b"", b"x" * 31, b"x" * 33, base64.b64encode(b"x" * 31), base64.b64encode(b"x" * 33), b"\xff" * 44):
            with open(self.key, "wb") as out:
                out.write(content)
            self.assert_failed(self.sign(), MALFORMED_KEY)

    def test_takes_any_blanks_around_the_key_and_no_other_text(self):
        key = self.read(self.key).strip()
        for blanks in (b"", b" \t\n\v\f\r" * 1000, b"\n" * 500_000, "\u0085\u00a0\u2003\u2028\u3000".encode() * 100):
            with open(self.key, "wb") as out:
                out.write(blanks + key + blanks)
            self.assertEqual(self.sign().answer["publicKeyBase64"], self.public_key)
        slashes = base64.b64encode(b"\xff" * 32)
        for content in (slashes.replace(b"//", b"\xc3\xa9", 1), slashes.replace(b"//", b"\xff\xfe", 1), key + b"\n" * 1_048_576,
                        key + b"\xa0", b"\xef\xbb\xbf" + key, key[:20] + b"\n" + key[20:]):
            with open(self.key, "wb") as out:
                out.write(content)
            self.assert_failed(self.sign(), MALFORMED_KEY)

    def test_never_writes_over_the_key_or_the_archive(self):
        before = tree(self.folder), self.read(self.key), self.read(self.archive)
        for output in (self.key, self.archive, os.path.dirname(self.key) + "/./key", self.home + "/../key"):
            self.assert_failed(self.sign(output=output), UNSAFE_OUTPUT)
        self.assertEqual((tree(self.folder), self.read(self.key), self.read(self.archive)), before)

    def test_refuses_what_no_updater_would_accept_and_writes_nothing(self):
        cases = {
            "The update contains an invalid semantic version.": dict(version="1.2"),
            "The update contains an invalid system requirement.": dict(minimum_system_version="12"),
            "The update artifact does not use a secure HTTPS URL.": dict(artifact_url="http://localhost/a.zip"),
            "The update artifact is not a supported archive.": dict(artifact_url="https://localhost/a.dmg"),
            world.INVALID_ARGUMENTS: dict(build="0"),
            world.FAILED_SAFELY: dict(artifact_file=self.folder + "/missing.zip"),
        }
        for message, change in cases.items():
            self.assert_failed(self.sign(**change), message)
        self.assertEqual(tree(self.home), [])

    def test_fails_cleanly_where_it_cannot_write(self):
        self.assert_failed(self.sign(output=self.home + "/missing/manifest.json"), world.FAILED_SAFELY)
        self.assert_failed(self.sign(output=self.home), world.FAILED_SAFELY)
        full = os.path.join(self.folder, "full")
        os.mkdir(full)
        run_quietly("mount", "-t", "tmpfs", "-o", "size=4k,nr_inodes=1", "tmpfs", full)
        self.assert_failed(self.sign(output=full + "/manifest.json"), world.FAILED_SAFELY)
        self.assertEqual(tree(full, self.home), [])

    def test_keeps_its_work_when_nobody_reads_the_answer(self):
        with open("/dev/full", "wb") as full:
            self.assertEqual(self.sign(stdout=full).status, 0)
        self.assertTrue(os.path.exists(self.manifest))

    def test_needs_little_memory_whatever_the_archive(self):
        large = os.path.join(self.folder, "large.zip")
        with open(large, "wb") as out:
            out.truncate(256 << 20)
        small, big = (world.peak_kib(self.world.updater, "sign-manifest", *self.sign_options(artifact_file=archive))
                      for archive in (self.archive, large))
        self.assertTrue(os.path.exists(self.manifest))
        self.assertLess(big, small + 4096)


if __name__ == "__main__":
    world.enter()
