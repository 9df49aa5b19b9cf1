"""Judges software that others have signed and published: packages of the npm registry, each in one version.

    real_software_test.py CHECK_SIGNATURE FOLDER [--seed NUMBER]

FOLDER keeps what was downloaded. The list beside this script says what every bundle and every Mach-O file of a package
is; the verdicts of CHECK_SIGNATURE must be the same. Whatever is valid is then spoiled, one byte at a time, and must be
invalid each time. Without the packages nothing can be judged, so a registry that does not answer is a failure.
"""

import argparse
import calendar
import collections
import hashlib
import os
import random
import shutil
import subprocess
import sys
import tarfile
import tempfile

import signed_code

LIST = os.path.join(os.path.dirname(os.path.abspath(__file__)), "expected.txt")
SPOILED_PLACES = 20
# Most certificates of developers end on 2027-02-01, and so does Apple's first authority for them. What was signed before
# stays what it is: noon on the day before and on the day after, in seconds since 1970.
MOMENTS = [str(calendar.timegm(moment)) for moment in ((2027, 1, 31, 12, 0, 0), (2027, 2, 2, 12, 0, 0))]

Package = collections.namedtuple("Package", "name version sha256 items")
# A bundle or a file: what it is (an assessment has no team and no root), its path, and whether its links are restored.
Item = collections.namedtuple("Item", "verdict team root path has_links")


class Unavailable(Exception):
    """A package cannot be had, or is not the one that was judged."""


def read_list(path):
    packages = []
    with open(path) as lines:
        for fields in (line.split() for line in lines if not line.startswith("#")):
            if fields and fields[0] == "package":
                packages.append(Package(*fields[1:4], items=[]))
            elif fields:
                packages[-1].items.append(Item(*fields[:4], has_links=fields[4:] == ["with-links"]))
    return packages


def sha256_of(path):
    with open(path, "rb") as file:
        return hashlib.sha256(file.read()).hexdigest()


def fetch(package, folder):
    """The archive of a package: from the folder, or else from the registry."""
    archive = os.path.join(folder, "%s-%s.tgz" % (package.name.strip("@").replace("/", "-"), package.version))
    if os.path.exists(archive) and sha256_of(archive) == package.sha256:
        return archive
    wanted = "%s@%s" % (package.name, package.version)
    with tempfile.TemporaryDirectory(dir=folder) as download:
        command = ["npm", "pack", wanted, "--loglevel=error", "--ignore-scripts", "--fetch-retries=1",
                   "--fetch-retry-mintimeout=1000", "--pack-destination", download]
        try:
            result = subprocess.run(command, cwd=download, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                    stderr=subprocess.STDOUT, text=True, timeout=300)
        except subprocess.TimeoutExpired:
            raise Unavailable("the npm registry did not send %s within five minutes" % wanted)
        archives = os.listdir(download)
        if result.returncode != 0 or len(archives) != 1:
            raise Unavailable("the npm registry did not send %s: %s" % (wanted, result.stdout.strip()))
        os.replace(os.path.join(download, archives[0]), archive)
    if sha256_of(archive) != package.sha256:
        raise Unavailable("%s is not the package that the list was written for" % wanted)
    return archive


def unpack(archive, folder):
    """The regular files of a package, which are all that npm packs. Returns the folder inside."""
    with tarfile.open(archive) as members:
        for member in members:
            parts = member.name.split("/")
            if not member.isreg() or ".." in parts or member.name.startswith("/"):
                continue
            # Whatever the publisher calls the outermost folder.
            target = os.path.join(folder, *parts[1:])
            os.makedirs(os.path.dirname(target), exist_ok=True)
            with members.extractfile(member) as source, open(target, "wb") as copy:
                shutil.copyfileobj(source, copy)
            os.chmod(target, 0o755 if member.mode & 0o100 else 0o644)


class Suite:
    def __init__(self, program, folder, randomness):
        self.program, self.folder, self.random = program, folder, randomness
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

    def run(self, package):
        print("%s %s" % (package.name, package.version), flush=True)
        archive = fetch(package, self.folder)
        with tempfile.TemporaryDirectory(dir=self.folder) as unpacked:
            unpack(archive, unpacked)
            found = set(signed_code.items(unpacked))
            listed = {item.path for item in package.items}
            self.expect(found == listed, "the list differs from what there is: %s" % sorted(found ^ listed))
            for item in package.items:
                with tempfile.TemporaryDirectory(dir=self.folder) as copy:
                    self.judge(item, signed_code.copied(os.path.join(unpacked, item.path), copy, item.has_links))

    def judge(self, item, path):
        for clock in ([], *(["--now", moment] for moment in MOMENTS)):
            self.judge_at(clock, item, path)
        if item.verdict == "valid":
            self.spoil(item, path)

    def judge_at(self, clock, item, path):
        if item.verdict in ("accepted", "rejected"):
            answer = self.ask(*clock, "--assess", path)
            self.expect(answer[0] == item.verdict, "%s: assessed as %s %s" % (item.path, answer, clock))
        else:
            answer = self.ask(*clock, path)
            wanted = [item.verdict, item.team, item.root, path]
            self.expect(answer == wanted, "%s: judged as %s %s" % (item.path, answer, clock))

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
    suite = Suite(os.path.realpath(options.program), os.path.realpath(options.folder), random.Random(options.seed))
    try:
        for package in read_list(LIST):
            suite.run(package)
    except Unavailable as reason:
        suite.expect(False, "%s\n  Neither this package nor any behind it was judged." % reason)
    print("\n%d passed, %d failed" % (suite.passed, suite.failed))
    sys.exit(0 if suite.failed == 0 and suite.passed > 0 else 1)


if __name__ == "__main__":
    main()
