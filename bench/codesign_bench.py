#!/usr/bin/env python3
"""The validation of a signed bundle against openssl's digest of the same files.

A large executable shows the throughput, a bundle of small files what each of them costs, and bundles of growing numbers
of files whether the cost grows in proportion. Every bundle is found valid before anything is timed.
"""

import os
import pathlib
import subprocess
import sys
import tempfile

from comparison import MIB, Comparison

CODE_BYTES = 256 * MIB  # of each of two architectures
FILE_COUNTS = (1, 100, 1000, 5000, 20000)
FILE_BYTES = 4096


class Bundles:
    """Signed bundles under one root, and the command that judges them."""

    def __init__(self, programs, folder):
        self.maker, self.checker = programs / "make-test-bundle", programs / "check-signature"
        self.folder = folder

    def make(self, name, *shape):
        bundle = os.path.join(self.folder, name, "Brindlewick.app")
        subprocess.run([self.maker, "--pki", self.folder + "/pki", *shape, bundle], check=True, stdout=subprocess.PIPE)
        verdict = subprocess.run(self.check(bundle), check=True, stdout=subprocess.PIPE).stdout
        assert verdict.startswith(b"valid\tTEAM123456\tapple\t"), verdict
        return bundle

    def check(self, bundle):
        return [self.checker, "--root", self.folder + "/pki/root.der", bundle]


def every_file(bundle):
    return [os.path.join(parent, name) for parent, _, names in os.walk(bundle) for name in names]


def digests(bundle):
    """The peer's work: every file once. Several runs where the names do not fit on one command line."""
    files = every_file(bundle)
    return [["openssl", "dgst", "-sha256", *files[i:i + 5000]] for i in range(0, len(files), 5000)]


def run(programs, folder):
    bundles = Bundles(programs, folder)
    table = Comparison("validation")
    large = bundles.make("large", "--code-size", str(CODE_BYTES))
    seconds = table.compare("512 MiB of code", bundles.check(large), digests(large), 1.11)
    print("  %-44s %7.0f MB/s" % ("", 2 * CODE_BYTES / seconds / 1e6))
    alone = None
    for count in FILE_COUNTS:
        bundle = bundles.make("files%d" % count, "--count", str(count), "--size", str(FILE_BYTES))
        seconds = table.compare("%d sealed file%s of 4 KiB" % (count, "s" if count > 1 else ""), bundles.check(bundle), digests(bundle), None)
        if alone is None:
            alone = seconds
        else:
            print("  %-44s %7.1f us for each file" % ("", (seconds - alone) / (count - 1) * 1e6))


if __name__ == "__main__":
    built = pathlib.Path(sys.argv[1]).resolve().parent.parent
    with tempfile.TemporaryDirectory() as scratch:
        run(built / "tests" / "support" / "codesign", scratch)
