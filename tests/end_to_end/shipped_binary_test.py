"""How the program is built: what an exploit would have to get past."""

import os

import world
from world import Scenario, run_quietly


class ShippedBinary(Scenario):
    def read(self, *options):
        return run_quietly("readelf", "--wide", *options, self.world.updater).stdout.decode()

    def test_is_position_independent(self):
        self.assertRegex(self.read("-h"), r"Type:\s+DYN")

    def test_has_read_only_relocations_bound_at_the_start(self):
        self.assertIn("GNU_RELRO", self.read("-l"))
        self.assertRegex(self.read("-d"), r"FLAGS.*(BIND_NOW|NOW)")

    def test_has_no_executable_stack(self):
        self.assertRegex(self.read("-l"), r"GNU_STACK .* RW ")

    def test_has_stack_protection(self):
        self.assertIn("__stack_chk_fail", self.read("-s"))

    def test_gains_no_rights_and_names_no_search_path(self):
        self.assertEqual(os.stat(self.world.updater).st_mode & 0o6000, 0)
        self.assertNotRegex(self.read("-d"), "RPATH|RUNPATH")


if __name__ == "__main__":
    world.enter()
