"""`spctl --assess` on bundles that are signed and notarized in the tests' own world, and on what is none."""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest

# As it is shipped, and with the tests' root in the place of Apple's.
SHIPPED, TRUSTING, BUNDLE_MAKER, PKI = (os.path.realpath(path) for path in sys.argv[1:5])
USAGE = "usage: spctl --assess --type execute --verbose=2 APPLICATION\n"
ASSESS = ("--assess", "--type", "execute", "--verbose=2")


class Spctl(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.world = tempfile.mkdtemp(prefix="spctl-test.")
        cls.addClassCleanup(shutil.rmtree, cls.world, True)

    def setUp(self):
        self.folder = tempfile.mkdtemp(dir=self.world)

    def bundle(self, *options):
        path = os.path.join(self.folder, "Brindlewick.app")
        subprocess.run([BUNDLE_MAKER, "--pki", PKI, *options, path], check=True, stdout=subprocess.DEVNULL, timeout=60)
        return path

    def spctl(self, *arguments, program=TRUSTING, **options):
        run = subprocess.run([program, *arguments], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                             stderr=subprocess.PIPE, timeout=60, check=False, **options)
        self.assertEqual(run.stdout, b"")
        return run.returncode, run.stderr.decode()

    def accepts(self, path):
        self.assertEqual(self.spctl(*ASSESS, path), (0, f"{path}: accepted\nsource=Notarized Developer ID\n"))

    def rejects(self, path, source, **options):
        self.assertEqual(self.spctl(*ASSESS, path, **options), (3, f"{path}: rejected\nsource={source}\n"))

    def test_accepts_a_notarized_application(self):
        self.accepts(self.bundle())

    def test_accepts_notarized_nested_code(self):
        self.accepts(self.bundle("--nested", "all"))

    def test_accepts_a_path_from_here(self):
        self.bundle()
        self.assertEqual(self.spctl(*ASSESS, "Brindlewick.app/", cwd=self.folder),
                         (0, "Brindlewick.app/: accepted\nsource=Notarized Developer ID\n"))

    def test_rejects_an_application_without_a_ticket(self):
        self.rejects(self.bundle("--ticket", "none"), "Unnotarized Developer ID")

    def test_rejects_a_changed_ticket(self):
        self.rejects(self.bundle("--tamper", "ticket"), "Unnotarized Developer ID")

    def test_rejects_changed_code(self):
        for place in ("executable", "resource", "info"):
            with self.subTest(place=place):
                self.folder = tempfile.mkdtemp(dir=self.world)
                self.rejects(self.bundle("--tamper", place), "no usable signature")

    def test_rejects_changed_nested_code(self):
        self.rejects(self.bundle("--nested", "all", "--tamper", "nested"), "no usable signature")

    def test_rejects_an_application_without_a_signature(self):
        self.rejects(self.bundle("--sign", "none", "--ticket", "none"), "no usable signature")

    def test_rejects_an_ad_hoc_signature(self):
        self.rejects(self.bundle("--sign", "adhoc", "--ticket", "none"), "no Developer ID")

    def test_rejects_the_certificates_of_another_root(self):
        self.rejects(self.bundle("--root", "other"), "no Developer ID")

    def test_as_shipped_it_does_not_know_the_root_of_the_tests(self):
        path = self.bundle()
        self.accepts(path)
        self.rejects(path, "no Developer ID", program=SHIPPED)

    def test_rejects_what_is_no_application(self):
        self.rejects(self.folder, "no usable signature")
        file = os.path.join(self.folder, "file")
        with open(file, "w") as content:
            content.write("text")
        self.assertEqual(self.spctl(*ASSESS, file)[0], 3)

    def test_cannot_assess_what_is_not_there(self):
        missing = os.path.join(self.folder, "Missing.app")
        self.assertEqual(self.spctl(*ASSESS, missing), (1, f"spctl: {missing}: No such file or directory\n"))
        self.assertEqual(self.spctl(*ASSESS, missing + "\n" * 5000)[0], 1)

    def test_no_variable_changes_the_verdict(self):
        configuration = os.path.join(self.folder, "openssl.cnf")
        with open(configuration, "w") as content:
            content.write("openssl_conf = all\n[all]\nalg_section = algorithms\n"
                          "[algorithms]\ndefault_properties = fips=yes\n")
        path = self.bundle()
        self.assertEqual(self.spctl(*ASSESS, path, env={"OPENSSL_CONF": configuration})[0], 0)

    def test_refuses_every_other_usage(self):
        path = self.bundle()
        for arguments in ((), (path,), ASSESS, (*ASSESS, ""), (*ASSESS, path, path), (*ASSESS, "--verbose"),
                          ("--assess", "--type", "install", "--verbose=2", path), ("--assess", "--verbose=2", path),
                          ("--assess", "--type", "execute", "--verbose", path), ("-a", "-t", "execute", "-vv", path),
                          ("--status",), ("--master-disable",), ("--add", "--label", "x", path), ("--help",)):
            with self.subTest(arguments=arguments):
                self.assertEqual(self.spctl(*arguments), (2, USAGE))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]] + sys.argv[5:], verbosity=2)
