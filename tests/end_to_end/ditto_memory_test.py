"""What `ditto -x -k` needs for archives whose entries are small and whose folders are many."""

import os
import subprocess
import unittest

from ditto_test import APP, DITTO, Case
from zip_bytes import Entry, archive

ENTRY_COUNT = 20
FOLDER_COUNT = 500  # around each entry; a name has room for as many

# What was freed is not to be counted where the memory is watched for errors.
ENVIRONMENT = {**os.environ, "ASAN_OPTIONS": os.environ.get("ASAN_OPTIONS", "") + ":quarantine_size_mb=1"}


class DittoNeedsLittleMemory(Case):
    def run_with_peak(self, *entries):
        """How the run ended, and its peak resident memory in MiB. Measured from a small program, since a child's peak
        begins with that of the process that started it."""
        self.write(archive(*entries))
        report = os.path.join(self.folder, "peak")
        command = ["/usr/bin/time", "-f", "%M", "-q", "-o", report, DITTO, "-x", "-k", self.archive, self.target]
        run = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, env=ENVIRONMENT, timeout=300,
                             check=False)
        with open(report) as file:
            return run, int(file.read()) / 1024

    def setUp(self):
        super().setUp()
        run, self.least = self.run_with_peak(Entry("first", b"a"))
        self.assertEqual(run.returncode, 0)
        os.remove(os.path.join(self.target, "first"))

    def entries(self):
        """Each in folders of its own, whose paths have a quarter of a million bytes together."""
        return [Entry(f"{APP}/{number}" + "/d" * FOLDER_COUNT) for number in range(ENTRY_COUNT)]

    def test_57_for_entries_in_hundreds_of_folders_of_their_own(self):
        run, peak = self.run_with_peak(*self.entries())
        self.assertEqual((run.stdout, run.stderr, run.returncode), (b"", b"", 0))
        self.assertEqual(sum(len(folders) for _, folders, _ in os.walk(self.target)), 1 + ENTRY_COUNT * FOLDER_COUNT)
        self.assertLess(peak - self.least, 8)

    def test_57_when_it_removes_them_again(self):
        damaged = Entry(f"{APP}/z", b"a", local={"crc": 1}, central={"crc": 1})
        run, peak = self.run_with_peak(*self.entries(), damaged)
        self.assertEqual((run.returncode, os.listdir(self.target)), (1, []))
        self.assertLess(peak - self.least, 8)

    def test_57_for_names_that_fill_a_listing(self):
        """15,000 names of a thousand bytes, the first of them once more: refused when all names are known."""
        names = [f"{APP}/{number:05}/" + "/".join(["x" * 250] * 3 + ["y" * 200]) for number in range(15_000)]
        run, peak = self.run_with_peak(*map(Entry, names + names[:1]))
        self.assertEqual((run.returncode, os.listdir(self.target)), (1, []))
        self.assertIn(b"same name", run.stderr)
        self.assertLess(peak - self.least, 96)


if __name__ == "__main__":
    unittest.main(argv=["ditto_memory_test"])
