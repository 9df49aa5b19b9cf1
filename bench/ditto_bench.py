#!/usr/bin/env python3
"""`ditto -x -k` against bsdtar on the same archives, and how its memory grows with the number of entries.

Entries of one kind are as honest archives have them, a hundred to a folder. Those of the other kind each lie in
hundreds of folders of their own, which is the most that a name has room for. Everything lies in memory.
"""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

from comparison import Comparison, peak_mib
from zip_bytes import Entry, archive

APP = "Brindlewick.app"
COUNTS = (1_000, 10_000)
DEEP_COUNTS = (20, 200)
DEPTH = 500


def plain(number):
    return Entry(f"{APP}/Contents/Resources/{number // 100}/{number}.txt", b"text " * 20, deflate=True)


def deep(number):
    return Entry(f"{APP}/{number}" + "/d" * DEPTH)


class Bench:
    def __init__(self, ditto, folder):
        self.ditto = ditto
        self.archive, self.target = os.path.join(folder, "update.zip"), os.path.join(folder, "target")
        self.table = Comparison("ditto")

    def clean(self):
        subprocess.run(["rm", "-rf", self.target], check=True)
        os.mkdir(self.target)

    def ours(self):
        return [self.ditto, "-x", "-k", self.archive, self.target]

    def write(self, entry, count):
        with open(self.archive, "wb") as file:
            file.write(archive(*(entry(number) for number in range(count)), zip64=count > 0xFFFF))
        return os.path.getsize(self.archive)

    def memory(self):
        self.clean()
        return peak_mib(*self.ours())

    def run(self):
        peers = [["bsdtar", "-x", "-f", self.archive, "-C", self.target]]
        for name, entry, counts in (("entries", plain, COUNTS),
                                    (f"entries in {DEPTH} folders each", deep, DEEP_COUNTS)):
            first = None
            for count in counts:
                size = self.write(entry, count)
                self.table.compare(f"{count} {name}", self.ours(), peers, None, self.clean)
                peak = self.memory()
                first = first or (count, peak)
            growth = (peak - first[1]) * 1024 / (count - first[0])
            print("  %-44s %7.1f KiB of memory and %.1f KiB of archive for each" % ("", growth, size / count / 1024))


if __name__ == "__main__":
    updater = pathlib.Path(sys.argv[1])
    where = tempfile.mkdtemp(prefix="ditto-bench.", dir="/dev/shm")
    try:
        Bench(str(updater.parent.parent / "tools/mac-commands/ditto"), where).run()
    finally:
        shutil.rmtree(where)
