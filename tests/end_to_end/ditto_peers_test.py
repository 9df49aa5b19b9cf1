"""`ditto -x -k` against Info-ZIP's unzip and libarchive's bsdtar, over generated archives.

What it expands lies on disk under the very names of the archive, with its bytes and its modes, and as the peers expand
it. What it refuses, it has to refuse by the rules. Every difference to a peer is one of these:

    code page   unzip takes names beyond ASCII for a code page of MS-DOS unless they were made on Unix
    version     unzip takes what follows a semicolon at the end of a name for a version number of VMS
    descriptor  unzip takes some archives with sizes behind the data for overlapping ones
    composed    bsdtar composes the characters of a name
    special     peers may keep set-user, set-group and sticky bits; here they are dropped
    attributes  peers leave out the modes of entries that were not made on Unix, or read their MS-DOS attributes
"""

import collections
import os
import re
import stat
import subprocess
import unittest

from ditto_test import APP, Case
from generated_archives import DESCRIBED_BEHIND, UNIX, Generated, key

ARCHIVE_COUNT = 250
ENVIRONMENT = {"LC_ALL": "C.UTF-8", "TZ": "UTC", "PATH": os.environ["PATH"]}


def tree(root):
    """Kind, mode and content of everything, by its name in bytes."""
    found = {}
    root = os.fsencode(root)
    for folder, folders, files in os.walk(root):
        for name in folders + files:
            path = os.path.join(folder, name)
            mode = os.lstat(path).st_mode
            content = None
            if stat.S_ISREG(mode):
                with open(path, "rb") as file:
                    content = file.read()
            found[os.path.relpath(path, root)] = (mode, content)
    return found


def contents(found):
    return {path: content for path, (_, content) in found.items()}


def by_key(found):
    return {key(path.decode()): content for path, content in contents(found).items()}


def expected_tree(entries):
    """By the archive alone."""
    found = {}
    for entry in entries:
        path = entry.name.rstrip(b"/")
        while b"/" in path:
            path = path.rsplit(b"/", 1)[0]
            found.setdefault(path, (stat.S_IFDIR | 0o755, None))
    for entry in entries:
        is_folder = entry.name.endswith(b"/")
        attributes = entry.central["attributes"] >> 16
        permissions = attributes & 0o777 if attributes else 0o755 if is_folder else 0o644
        found[entry.name.rstrip(b"/")] = ((stat.S_IFDIR if is_folder else stat.S_IFREG) | permissions,
                                          None if is_folder else entry.data)
    return found


class DittoAndItsPeers(Case):
    def setUp(self):
        super().setUp()
        self.explanations = collections.Counter()

    def peer(self, name, *command):
        """What a peer makes of the archive."""
        target = os.path.join(self.folder, name)
        os.mkdir(target)
        words = [word.format(archive=self.archive, target=target) for word in command]
        run = subprocess.run(words, stdin=subprocess.DEVNULL, capture_output=True, env=ENVIRONMENT, check=False,
                             timeout=60)
        found = tree(target)
        subprocess.run(["rm", "-rf", target], check=True)
        return run, found

    def explain(self, reason):
        self.explanations[reason] += 1

    def compare_with_bsdtar(self, ours, entries):
        run, theirs = self.peer("bsdtar", "bsdtar", "-x", "-p", "--no-same-owner", "-f", "{archive}", "-C", "{target}")
        self.assertEqual((run.stderr, run.returncode), (b"", 0))
        self.assertEqual(by_key(theirs), by_key(ours))
        for path in set(theirs) ^ set(ours):
            self.assertFalse(path.isascii(), path)
            self.explain("composed")
        self.compare_modes(ours, theirs, entries)

    def compare_with_unzip(self, ours, entries):
        run, theirs = self.peer("unzip", "unzip", "-qq", "-K", "{archive}", "-d", "{target}")
        if run.returncode == 12:
            self.assertTrue(any(entry.central["flags"] & DESCRIBED_BEHIND for entry in entries), run.stderr)
            return self.explain("descriptor")
        renamed = {entry.name.rstrip(b"/"): self.renaming(entry) for entry in entries}
        for path, content in contents(ours).items():
            reasons = {reason for name, reason in renamed.items() if reason and (name + b"/").startswith(path + b"/")}
            if not reasons:
                self.assertEqual(contents(theirs).get(path, b"nothing"), content, path)
            elif path not in theirs:
                self.explain(reasons.pop())
        # Another name brings other folders around it.
        others = sum(name.count(b"/") for name, reason in renamed.items() if reason)
        self.assertLessEqual(len(set(theirs) - set(ours)), others)
        self.compare_modes(ours, theirs, [entry for entry in entries if not entry.name.endswith(b"/")])
        return None

    def renaming(self, entry):
        """Why unzip may give an entry another name."""
        if re.search(rb";[0-9]*/?$", entry.name):
            return "version"
        return "code page" if not entry.name.isascii() and entry.central["system"] != UNIX else None

    def compare_modes(self, ours, theirs, entries):
        for entry in entries:
            path = entry.name.rstrip(b"/")
            if path not in theirs or theirs[path][0] == ours[path][0]:
                continue
            if entry.central["system"] == UNIX:
                self.assertEqual(theirs[path][0] & ~0o7000, ours[path][0], path)
                self.explain("special")
            else:
                self.explain("attributes")

    def test_agree_or_differ_for_a_known_reason(self):
        outcomes = collections.Counter()
        for seed in range(ARCHIVE_COUNT):
            with self.subTest(seed=seed):
                generated = Generated(seed)
                self.write(generated.bytes)
                run = self.expand()
                ours = tree(self.target)
                subprocess.run(["rm", "-rf", os.path.join(self.target, APP)], check=True)
                outcomes[run.returncode] += 1
                self.assertEqual(run.returncode, 1 if generated.is_refused() else 0, (generated.spoiled, run.stderr))
                if run.returncode == 1:
                    self.assertEqual(ours, {})
                    continue
                self.assertEqual(ours, expected_tree(generated.entries))
                self.compare_with_bsdtar(ours, generated.entries)
                self.compare_with_unzip(ours, generated.entries)
        self.assertGreater(min(outcomes[0], outcomes[1]), ARCHIVE_COUNT // 4)
        documented = re.findall(r"^ {4}(\S+(?: \S+)?)  ", __doc__, re.MULTILINE)
        self.assertEqual(len(documented), 6)
        # Other releases of the peers may differ less.
        self.assertLessEqual(set(self.explanations), set(documented))


if __name__ == "__main__":
    unittest.main(argv=["ditto_peers_test"])
