"""What `cmake --install` puts where, and that it runs there."""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest

CMAKE, BUILD = sys.argv[1:3]


class Components(unittest.TestCase):
    def setUp(self):
        self.prefix = tempfile.mkdtemp(prefix="components-test.")
        self.addCleanup(shutil.rmtree, self.prefix, True)

    def install(self, *arguments):
        """The files below the prefix, after an installation."""
        subprocess.run([CMAKE, "--install", BUILD, "--prefix", self.prefix, *arguments], check=True,
                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        return sorted(os.path.relpath(os.path.join(folder, name), self.prefix)
                      for folder, _, names in os.walk(self.prefix) for name in names)

    def assert_runs(self, program, *arguments, status):
        run = subprocess.run([os.path.join(self.prefix, program), *arguments], stdin=subprocess.DEVNULL,
                             stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, env={}, check=False)
        self.assertEqual(run.returncode, status, program)

    def test_the_updater_and_its_manual_page(self):
        installed = ["bin/BrindlewickUpdater", "share/man/man1/BrindlewickUpdater.1"]
        self.assertEqual(self.install("--component", "updater"), installed)
        self.assert_runs("bin/BrindlewickUpdater", status=1)

    def test_the_macos_commands_where_macos_has_them(self):
        installed = ["bin/ditto", "bin/lipo", "bin/open", "sbin/spctl"]
        self.assertEqual(self.install("--component", "mac-commands"), installed)
        for program in installed:
            self.assert_runs(program, status=2)

    def test_everything_leaves_the_macos_commands_out(self):
        self.assertEqual(self.install(), ["bin/BrindlewickUpdater", "share/man/man1/BrindlewickUpdater.1"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
