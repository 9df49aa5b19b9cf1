"""Judges software that others have signed and published: packages of the npm registry, each in one version.

    real_software_test.py CHECK_SIGNATURE FOLDER [--seed NUMBER]

FOLDER keeps what was downloaded. The list beside this script says what every bundle and every Mach-O file of a package
is; the verdicts of CHECK_SIGNATURE must be the same. Whatever is valid must meet the updater's requirement if it has a
Developer ID, and only then. It is then spoiled, one byte at a time, and must be invalid each time. A second list says
what becomes of some bundles once a file, a link or a folder of theirs is changed. Without the packages nothing can be
judged, so a registry that does not answer is a failure.
"""

import argparse
import calendar
import collections
import os
import random
import subprocess
import sys
import tempfile

import changes
import packages
import signed_code

HERE = os.path.dirname(os.path.abspath(__file__))
SPOILED_PLACES = 20
# Most certificates of developers end on 2027-02-01, and so does Apple's first authority for them. What was signed before
# stays what it is: noon on the day before and on the day after, in seconds since 1970.
MOMENTS = [str(calendar.timegm(moment)) for moment in ((2027, 1, 31, 12, 0, 0), (2027, 2, 2, 12, 0, 0))]

# What the updater asks of an application, in words of its own.
REQUIREMENT = ('anchor apple generic and identifier "%s" and certificate 1[field.1.2.840.113635.100.6.2.6] exists '
               'and certificate leaf[field.1.2.840.113635.100.6.1.13] exists and certificate leaf[subject.OU] = "%s"')

Package = collections.namedtuple("Package", "name version sha256 archives items")
# A bundle or a file: what it is, its team and who vouches for it (an assessment has neither), its path, and how it is
# restored after what packing did to it.
Item = collections.namedtuple("Item", "verdict team signer path restoration")


def read_list(path):
    listed = []
    with open(path) as lines:
        for fields in (line.split() for line in lines if not line.startswith("#")):
            if fields and fields[0] == "package":
                listed.append(Package(*fields[1:4], archives=[], items=[]))
            elif fields and fields[0] == "archive":
                listed[-1].archives.append(fields[1:])
            elif fields:
                listed[-1].items.append(Item(*fields[:4], restoration=fields[4] if fields[4:] else ""))
    return listed


class Suite:
    def __init__(self, program, folder, randomness, listed):
        self.program, self.folder, self.random, self.listed = program, folder, randomness, listed
        self.passed = self.failed = 0

    def expect(self, is_right, sentence):
        if is_right:
            self.passed += 1
        else:
            self.failed += 1
            print("  FAILED: " + sentence)

    def ask(self, *arguments):
        """The fields of the one line that the program prints."""
        result = subprocess.run([self.program, *arguments], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, text=True, timeout=60)
        if result.returncode != 0 or result.stderr:
            return ["status %d" % result.returncode, result.stderr.strip()]
        return result.stdout.rstrip("\n").split("\t")

    def run(self, package, bundles):
        print("%s %s" % (package.name, package.version), flush=True)
        with tempfile.TemporaryDirectory(dir=self.folder) as unpacked:
            packages.unpack(package, packages.fetch(package, self.folder), unpacked)
            found = set(signed_code.items(unpacked))
            listed = {item.path for item in package.items}
            self.expect(found == listed, "the list differs from what there is: %s" % sorted(found ^ listed))
            for item in package.items:
                with tempfile.TemporaryDirectory(dir=self.folder) as copy:
                    self.judge(item, signed_code.copied(os.path.join(unpacked, item.path), copy, item.restoration))
            for bundle in bundles:
                self.alter(bundle, os.path.join(unpacked, bundle.path))

    def alter(self, bundle, source):
        for row in bundle.rows:
            with tempfile.TemporaryDirectory(dir=self.folder) as copy, \
                 tempfile.TemporaryDirectory(dir=self.folder) as outside:
                path = signed_code.copied(source, copy, bundle.restoration)
                changes.apply(row, path, source, outside, lambda name: self.unpacked(name, outside))
                what = "%s, %s" % (bundle.path, " ".join([row.change, *row.arguments]))
                verdict, (_, source_of_trust, *_) = self.ask(path)[0], self.ask("--assess", path)
                self.expect(verdict == row.verdict, "%s: %s" % (what, verdict))
                self.expect(source_of_trust.replace(" ", "-") == row.assessment, "%s: %s" % (what, source_of_trust))

    def unpacked(self, name, folder):
        """The folder of a package other than the one that is judged."""
        (package,) = (package for package in self.listed if package.name == name)
        target = os.path.join(folder, "package")
        packages.unpack(package, packages.fetch(package, self.folder), target)
        return target

    def judge(self, item, path):
        for clock in ([], *(["--now", moment] for moment in MOMENTS)):
            self.judge_at(clock, item, path)
        if item.verdict == "valid":
            self.require(item, path)
            self.spoil(item, path)

    def judge_at(self, clock, item, path):
        if item.verdict in ("accepted", "rejected"):
            answer = self.ask(*clock, "--assess", path)
            self.expect(answer[0] == item.verdict, "%s: assessed as %s %s" % (item.path, answer, clock))
        else:
            answer = self.ask(*clock, path)
            wanted = [item.verdict, item.team, "-" if item.signer == "-" else "apple", path]
            self.expect(answer == wanted, "%s: judged as %s %s" % (item.path, answer, clock))

    def require(self, item, path):
        """The updater's requirement, with the right names and with others."""
        with open(signed_code.executable(path), "rb") as file:
            identifiers = signed_code.identifiers(file.read())
        for identifier in identifiers:
            # It has one identifier for all architectures.
            is_met = item.signer == "developer-id" and len(identifiers) == 1
            for names, wanted in (((identifier, item.team), is_met), ((identifier + "x", item.team), False),
                                  ((identifier.swapcase(), item.team), False), ((identifier, "ABCDE12345"), False)):
                answer = self.ask("--requirement", REQUIREMENT % names, path)
                self.expect(answer == ["valid", item.team, "met" if wanted else "-", path],
                            "%s: the requirement for %s %s: %s" % (item.path, *names, answer))

    def spoil(self, item, path):
        executable = signed_code.executable(path)
        with open(executable, "r+b", buffering=0) as file:
            ranges = signed_code.signed_ranges(file.read())
            for number in range(SPOILED_PLACES):
                # Each range in turn, however short: random places would hardly ever meet a CodeDirectory.
                place = self.random.randrange(*ranges[number % len(ranges)])
                file.seek(place)
                byte = file.read(1)[0]
                other = byte ^ self.random.randrange(1, 256)
                self.write(file, place, other)
                answer = self.ask(path)
                self.expect(answer[0] == "invalid",
                            "%s: byte %d changed from %d to %d: %s" % (item.path, place, byte, other, answer))
                self.write(file, place, byte)
        self.expect(self.ask(path)[0] == "valid", "%s: not valid once it is whole again" % item.path)

    @staticmethod
    def write(file, place, byte):
        file.seek(place)
        file.write(bytes([byte]))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("folder")
    parser.add_argument("--seed", type=int, default=int.from_bytes(os.urandom(4), "big"))
    options = parser.parse_args()
    os.makedirs(options.folder, exist_ok=True)
    print("real software: the places to spoil are chosen with --seed %d" % options.seed)
    listed = read_list(os.path.join(HERE, "expected.txt"))
    suite = Suite(os.path.realpath(options.program), os.path.realpath(options.folder), random.Random(options.seed),
                  listed)
    try:
        altered = changes.read_list(os.path.join(HERE, "changes.txt"))
        for package in listed:
            names = (package.name, "%s@%s" % (package.name, package.version))
            suite.run(package, [bundle for bundle in altered if bundle.package in names])
            altered = [bundle for bundle in altered if bundle.package not in names]
        suite.expect(not altered, "no package is listed for %s" % [bundle.path for bundle in altered])
    except packages.Unavailable as reason:
        suite.expect(False, "%s\n  Neither this package nor any behind it was judged." % reason)
    print("\n%d passed, %d failed" % (suite.passed, suite.failed))
    sys.exit(0 if suite.failed == 0 and suite.passed > 0 else 1)


if __name__ == "__main__":
    main()
