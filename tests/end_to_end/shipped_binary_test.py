"""How the program is built: what an exploit would have to get past."""

import json
import os
import re
import struct

import world
from world import Scenario, run_quietly

LIBRARIES = {"libc.so.6", "libcrypto.so.3", "libgcc_s.so.1", "libm.so.6", "libsodium.so.23",
             "libstdc++.so.6"}
SANITIZER = re.compile(r"lib(asan|ubsan|lsan|tsan)\.so")


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

    def test_begins_with_few_libraries(self):
        """Each of them runs in the process that signs with the key."""
        needed = set(re.findall(r"Shared library: \[([^\]]+)\]", self.read("-d")))
        self.assertEqual({name for name in needed if not SANITIZER.match(name)} - LIBRARIES, set())

    def test_names_to_packagers_the_library_that_it_loads_later(self):
        note = os.path.join(self.folder, "note")
        run_quietly("objcopy", "--dump-section", ".note.dlopen=" + note, self.world.updater, note + ".program")
        with open(note, "rb") as file:
            dump = file.read()
        owner_size, size, kind = struct.unpack_from("=3I", dump)
        self.assertEqual((owner_size, kind, dump[12:16]), (4, 0x407C0C0A, b"FDO\0"))
        self.assertEqual(dump[16:][size - 1:size], b"\0")
        self.assertEqual(json.loads(dump[16:16 + size - 1]), [{
            "soname": ["libcurl.so.4"], "feature": "https", "description": "check-and-stage", "priority": "required"}])
        self.assertRegex(self.read("-S"), r"\.note\.dlopen +NOTE ")


if __name__ == "__main__":
    world.enter()
