"""The command line of the built program: every argument is bytes from a caller that may be wrong."""

import os
import subprocess
import unittest

import world
from world import Scenario, failure, updater


class CommandLine(Scenario):
    def refused(self, *arguments):
        self.assert_failed(updater(*arguments), world.INVALID_ARGUMENTS)

    def setUp(self):
        super().setUp()
        self.publish(version="2.3.0", build="100")

    def assert_up_to_date(self, run):
        self.assertEqual((run.status, run.errors), (0, b""))
        self.assertEqual(run.output, b'{"build":100,"message":"Brindlewick is up to date.","outcome":"upToDate","version":"2.3.0"}\n')

    def installing(self, command, **changes):
        values = {"public_key": self.public_key, "app_identifier": self.identifier, "current_version": "2.3.0",
                  "current_build": "100", "staged_directory": self.staging + "/c", "installed_app": "/Applications/B.app"}
        if command == "apply-install":
            values.update(preparation_directory=self.staging + "/c/p", parent_pid="2",
                          result_file=self.staging + "/last-install-result.json")
        values.update(changes)
        return [command] + world.options(**values)

    def test_refuses_no_and_unknown_commands(self):
        self.refused()
        self.assert_failed(updater(""), world.INVALID_ARGUMENTS)
        for word in ("help", "--help", "--version", "Check-And-Stage", "check-and-stage ", "sign-manifest\n", "CHECK-AND-STAGE"):
            self.refused(word, *self.check_options())

    def test_answers_an_empty_argument_vector(self):
        code = "import ctypes,sys\nl=ctypes.CDLL(None)\np=sys.argv[1].encode()\nl.execve(p,(ctypes.c_char_p*1)(None),(ctypes.c_char_p*1)(None))"
        done = subprocess.run(["python3", "-c", code, self.world.updater], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.assertEqual((done.stdout, done.stderr, done.returncode), (failure(world.INVALID_ARGUMENTS), b"", 1))

    def test_reads_exact_pairs(self):
        good = self.check_options()
        self.assert_up_to_date(updater("check-and-stage", *good))
        self.refused("check-and-stage")
        self.refused("check-and-stage", *good[:-1])
        self.refused("check-and-stage", *good[:-2])
        self.refused("check-and-stage", *good, "--extra", "x")
        self.refused("check-and-stage", *good, "extra", "x")
        self.refused("check-and-stage", *good, "--extra")
        self.refused("check-and-stage", "--feed-url=" + good[1], *good[2:])
        self.refused("check-and-stage", "--Feed-URL", *good[1:])
        self.refused("check-and-stage", "-feed-url", *good[1:])
        self.refused("check-and-stage", *good[2:], "--build", "7")

    def test_takes_the_last_of_a_repeated_option_when_checking_and_only_then(self):
        good = self.check_options()
        self.assert_up_to_date(updater("check-and-stage", "--feed-url", "https://localhost:1/other", *good))
        self.assert_failed(updater("check-and-stage", *good, "--feed-url", "http://localhost/"),
                           "The update feed does not use a secure HTTPS URL.")
        self.refused("sign-manifest", *world.options(
            private_key_file=self.key, app_identifier="a", version="1.0.0", build="1", minimum_system_version="12.0",
            artifact_url="https://h/a.zip", artifact_file=self.archive, output=self.home + "/m"), "--build", "1")
        for command in ("prepare-install", "apply-install"):
            self.refused(*self.installing(command), "--current-build", "100")

    def test_reads_numbers_exactly(self):
        for text in ("100", "+100", "0100", "+0100", "9223372036854775807"):
            self.assert_up_to_date(self.check(current_build=text))
        for text in ("", "0", "-3", "-0", "1.0", " 7", "7 ", "0x7", "1e3", "--7", "+", "-", "+-7", "-+7", "++7", "7\n", "seven",
                     "9223372036854775808", "-9223372036854775809", "99999999999999999999999", "\u0661", "1_000", "1,000"):
            self.refused("check-and-stage", *self.check_options(current_build=text))

    def test_reads_process_identifiers_exactly(self):
        for text in ("2", "+2", "2147483647"):
            self.assertNotEqual(updater(*self.installing("apply-install", parent_pid=text)).output,
                                failure(world.INVALID_ARGUMENTS))
        for text in ("1", "0", "-2", "2147483648", "", "2.0"):
            self.refused(*self.installing("apply-install", parent_pid=text))

    def test_wants_absolute_paths(self):
        for text in ("", "relative", "./x", "~/x", " /x"):
            self.refused("check-and-stage", *self.check_options(staging_directory=text))
            for option in ("staged_directory", "installed_app"):
                self.refused(*self.installing("prepare-install", **{option: text}))
            for option in ("preparation_directory", "result_file"):
                self.refused(*self.installing("apply-install", **{option: text}))

    def test_wants_an_identifier_and_urls(self):
        self.refused("check-and-stage", *self.check_options(app_identifier=""))
        for text in ("", "https://exa mple/", "https://h\\x/", "https://h%2/", "https://\u00e4/", "https://h:1x/"):
            self.refused("check-and-stage", *self.check_options(feed_url=text))

    def test_ties_the_places_of_an_installation_together(self):
        self.assertNotEqual(updater(*self.installing("apply-install")).output, failure(world.INVALID_ARGUMENTS))
        staged = self.staging + "/c"
        for change in (dict(staged_directory=staged + "/"), dict(preparation_directory=staged + "/p/"),
                       dict(staged_directory=self.staging + "/x/../c"), dict(preparation_directory=staged + "/./p"),
                       dict(result_file=staged + "/../last-install-result.json"),
                       dict(result_file=self.staging + "//last-install-result.json")):
            self.assertNotEqual(updater(*self.installing("apply-install", **change)).output,
                                failure(world.INVALID_ARGUMENTS), change)
        for change in (dict(preparation_directory=self.staging + "/p"), dict(preparation_directory=staged),
                       dict(preparation_directory=staged + "/p/q"), dict(preparation_directory=staged + "/p/.."),
                       dict(result_file=self.staging + "/result.json"), dict(result_file=self.staging + "/Last-Install-Result.json"),
                       dict(result_file=staged + "/last-install-result.json"), dict(result_file="/last-install-result.json")):
            self.refused(*self.installing("apply-install", **change))

    def test_takes_for_a_value_whatever_follows_an_option(self):
        self.publish(version="2.3.0", build="100", app_identifier="--public-key")
        self.assert_up_to_date(self.check(app_identifier="--public-key"))
        self.assert_failed(self.check(public_key="--app-identifier"), "This build has an invalid update verification key.")
        for option in ("staging_directory", "current_build"):
            self.refused("check-and-stage", *self.check_options(**{option: "--feed-url"}))

    def test_survives_arguments_of_any_bytes(self):
        long = "x" * 100_000
        self.refused(b"check-and-stage", b"\xff\xfe", b"x")
        self.refused(*[long] * 11)
        self.refused("check-and-stage", *self.check_options(app_identifier=b"\xff".decode("latin-1"))[:-2], "--staging-directory", b"/\xff")
        self.assert_failed(self.check(public_key=long), "This build has an invalid update verification key.")
        self.assert_failed(self.check(current_version="2.3.0\n"), "The update contains an invalid semantic version.")
        self.assert_failed(self.check(app_identifier=self.identifier + "\n"), "The update is intended for a different application.")
        self.assert_failed(self.check(staging_directory="/" + long, current_version="2.2.0"), world.FAILED_SAFELY)

    def test_ends_normally_when_nobody_reads(self):
        arguments = [self.world.updater, "check-and-stage", *self.check_options()]
        with open("/dev/full", "wb") as full:
            self.assertEqual(subprocess.run(arguments, stdout=full, stderr=subprocess.PIPE).returncode, 0)
        reader, writer = os.pipe()
        os.close(reader)
        done = subprocess.run(arguments, stdout=writer, stderr=subprocess.PIPE)
        os.close(writer)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        closed = subprocess.run(["sh", "-c", '"$@" >&- 2>&-', "sh", *arguments])
        self.assertEqual(closed.returncode, 0)

    def test_reads_no_environment(self):
        poison = {"https_proxy": "http://127.0.0.1:1", "HTTPS_PROXY": "http://127.0.0.1:1", "ALL_PROXY": "socks5://127.0.0.1:1",
                  "CURL_CA_BUNDLE": "/dev/null", "SSL_CERT_FILE": "/dev/null", "SSL_CERT_DIR": "/nowhere",
                  "OPENSSL_CONF": "/dev/zero-not-there", "CURL_HOME": self.folder, "HOME": self.folder,
                  "NETRC": self.folder + "/.netrc", "SSLKEYLOGFILE": self.folder + "/keys", "RES_OPTIONS": "nameserver:0.0.0.0",
                  "HOSTALIASES": "/dev/null", "LC_ALL": "xx_XX.bogus"}
        with open(self.folder + "/.netrc", "w") as out:
            out.write("default login user password secret\n")
        with open(self.folder + "/.curlrc", "w") as out:
            out.write("proxy = 127.0.0.1:1\n")
        run = updater("check-and-stage", *self.check_options(), environment=poison)
        self.assert_up_to_date(run)
        self.assertFalse(os.path.exists(self.folder + "/keys"))


if __name__ == "__main__":
    world.enter()
