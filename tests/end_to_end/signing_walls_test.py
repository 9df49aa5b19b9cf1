"""sign-manifest holds the key, and so is the one command that needs neither a network nor a dump of its memory."""

import os
import subprocess

import world
from world import Scenario, failure, traceable_environment

WALLS = ("prctl(PR_SET_DUMPABLE, SUID_DUMP_DISABLE", "prctl(PR_SET_NO_NEW_PRIVS, 1", "seccomp(SECCOMP_SET_MODE_FILTER",
         "RLIMIT_CORE, {rlim_cur=0, rlim_max=0}")
TRACED = "prctl,seccomp,setrlimit,prlimit64"


class SigningWalls(Scenario):
    def traced(self, *arguments, faults=()):
        """A run of the program, and its system calls."""
        trace = os.path.join(self.folder, "trace")
        done = subprocess.run(["strace", "-f", "-o", trace, "-e", "signal=none", "-e", "trace=%s,?open,openat,socket" % TRACED,
                               *(word for fault in faults for word in ("-e", "inject=" + fault)), self.world.updater, *arguments],
                              env=traceable_environment(), stdin=subprocess.DEVNULL, capture_output=True, timeout=240)
        with open(trace) as file:
            calls = [line.split(" ", 1)[1].strip() for line in file]
        return world.Run(done.returncode, done.stdout, done.stderr), calls

    def test_stand_before_the_key_is_opened(self):
        run, calls = self.traced("sign-manifest", *self.sign_options())
        self.assertEqual((run.status, run.errors), (0, b""))
        opened = min(i for i, call in enumerate(calls) if '"%s"' % self.key in call)
        for wall in WALLS:
            self.assertTrue(any(wall in call and call.endswith(" = 0") for call in calls[:opened]), wall)
        self.assertEqual([call for call in calls if call.startswith("socket(")], [])

    def test_stand_whatever_the_key_is(self):
        for key in (self.home, self.folder + "/missing", "/dev/null"):
            _, calls = self.traced("sign-manifest", *self.sign_options(private_key_file=key))
            self.assertEqual([wall for wall in WALLS if not any(wall in call for call in calls)], [])

    def test_are_not_missed_where_the_system_has_none(self):
        expected, calls = self.traced("sign-manifest", *self.sign_options())
        self.assertEqual(expected.status, 0)
        # From the walls on: what was asked before, such as by a sanitizer, is no business of ours.
        first = {}
        for number, call in enumerate(calls):
            name = call.split("(")[0]
            if any(wall in call for wall in WALLS):
                first.setdefault(name, 1 + sum(earlier.startswith(name + "(") for earlier in calls[:number]))
        self.assertLessEqual({"prctl", "seccomp"}, set(first))
        for code in ("EINVAL", "ENOSYS", "EPERM"):
            run, _ = self.traced("sign-manifest", *self.sign_options(),
                                 faults=["%s:error=%s:when=%d+" % (name, code, number) for name, number in first.items()])
            self.assertEqual((run.status, run.output, run.errors), (0, expected.output, b""), code)

    def test_stand_around_no_other_command(self):
        self.publish()
        for arguments in ((), ("check-and-stage", *self.check_options()), ("sign-manifest",), ("prepare-install",),
                          ("apply-install",)):
            _, calls = self.traced(*arguments)
            self.assertEqual([call for call in calls if any(wall in call for wall in WALLS)], [])

    def test_change_no_sentence(self):
        run, _ = self.traced("sign-manifest", *self.sign_options(output=self.key))
        self.assertEqual(run.output, failure("The manifest output path must not replace the private key or release artifact."))


if __name__ == "__main__":
    world.enter()
