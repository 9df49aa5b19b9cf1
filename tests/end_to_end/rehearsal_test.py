"""The rehearsal of a release that the publisher's guide recommends, run as the guide says it."""

import os
import subprocess
import sys

from install_world import PROGRAMS, GATEKEEPER, InstallScenario, InstallWorld
from world import enter, run_quietly

REHEARSE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "docs", "examples", "rehearse.py")
SITE = "https://updates.brindlewick.example/"


class Rehearsal(InstallScenario):
    def rehearse(self, **shape):
        folder = self.update(**shape)
        run_quietly("zip", "-q", "-r", "-X", self.archive, ".", "-i", "*", cwd=folder)
        self.publish(artifact_url=SITE + "releases%2F2.4.0/Brindlewick.zip?")
        return subprocess.run([sys.executable, "-B", REHEARSE, self.world.updater, SITE + "manifest.json", self.manifest,
                               self.archive, self.public_key, self.installed], capture_output=True, check=False,
                              stdin=subprocess.DEVNULL, timeout=120)

    def test_of_a_good_release_ends_with_a_prepared_update(self):
        run = self.rehearse()
        self.assertEqual(run.returncode, 0, run.stdout + run.stderr)
        self.assertIn(b'"outcome":"staged"', run.stdout)
        self.assertIn(b'"outcome":"prepared"', run.stdout)
        self.assertEqual([name for name in os.listdir("/var/tmp") if name.startswith("rehearsal.")], [])

    def test_of_a_release_that_was_not_stapled_fails(self):
        run = self.rehearse(ticket="none")
        self.assertEqual(run.returncode, 1, run.stdout + run.stderr)
        self.assertIn(GATEKEEPER.encode(), run.stdout)


if __name__ == "__main__":
    enter(InstallWorld, PROGRAMS)
