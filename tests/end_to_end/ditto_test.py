"""`ditto -x -k` on honest archives of several writers, and on dishonest ones written byte by byte."""

import os
import shutil
import signal
import stat
import struct
import subprocess
import sys
import tempfile
import time
import unittest
import zipfile

from world import traceable_environment
from zip_bytes import (AMIGA, DARWIN, FILE, LINK, MS_DOS, PIPE, VMS, Entry, archive, end_record, field, unicode_path)

DITTO = os.path.realpath(sys.argv[1])
APP = "Brindlewick.app"


def tree(root):
    """Everything under a folder: type, mode, time and content by path."""
    found = {}
    for folder, folders, files in os.walk(root):
        for name in folders + files:
            path = os.path.join(folder, name)
            attributes = os.lstat(path)
            content = None
            if stat.S_ISREG(attributes.st_mode):
                with open(path, "rb") as file:
                    content = file.read()
            found[os.path.relpath(path, root)] = (attributes.st_mode, int(attributes.st_mtime), content)
    return found


def contents(root):
    return {path: content for path, (_, _, content) in tree(root).items()}


class Case(unittest.TestCase):
    maxDiff = 2000

    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="ditto-test.")
        self.addCleanup(shutil.rmtree, self.folder, True)
        self.archive = os.path.join(self.folder, "update.zip")
        self.target = os.path.join(self.folder, "target")
        os.mkdir(self.target)

    def write(self, content):
        with open(self.archive, "wb") as file:
            file.write(content)

    def ditto(self, *arguments, **options):
        return subprocess.run([DITTO] + list(arguments), stdin=subprocess.DEVNULL, capture_output=True, timeout=120,
                              check=False, **options)

    def expand(self, **options):
        return self.ditto("-x", "-k", self.archive, self.target, **options)

    def assert_expands(self, content=None):
        if content is not None:
            self.write(content)
        run = self.expand()
        self.assertEqual((run.stdout, run.stderr, run.returncode), (b"", b"", 0))

    def assert_refuses(self, content, reason):
        """Refused for this reason, with nothing left in the target and nothing else touched."""
        self.write(content)
        canary = os.path.join(self.target, "canary")
        with open(canary, "w") as file:
            file.write("was here before")
        before = tree(self.folder)
        run = self.expand()
        after = tree(self.folder)
        # The comings and goings in the target show in its own time only.
        before["target"] = after["target"] = None
        self.assertEqual(run.returncode, 1, run.stderr)
        self.assertEqual(run.stdout, b"")
        self.assertIn(reason, run.stderr.decode())
        self.assertEqual(before, after)


class DittoExpands(Case):
    def application(self):
        """A bundle's worth of files: programs, empty files and folders, names beyond ASCII, times and modes."""
        root = os.path.join(self.folder, "source", APP)
        os.makedirs(os.path.join(root, "Contents/MacOS"))
        os.makedirs(os.path.join(root, "Contents/Resources/empty"))
        for name, data, mode in (("Contents/Info.plist", b"<plist/>", 0o644), ("Contents/MacOS/run", b"\xca\xfe" * 70000, 0o755),
                                 ("Contents/Resources/\u00fc\u65e5\u672c.txt", b"text\n" * 900, 0o600),
                                 ("Contents/Resources/nothing", b"", 0o444)):
            path = os.path.join(root, name)
            with open(path, "wb") as file:
                file.write(data)
            os.chmod(path, mode)
            os.utime(path, (1700000000, 1700000000))
        os.chmod(os.path.join(root, "Contents/Resources/empty"), 0o700)
        for folder, _, _ in os.walk(root):
            os.utime(folder, (1600000000, 1600000000))
        return os.path.join(self.folder, "source")

    def assert_same_tree_as_the_source(self, source):
        self.assertEqual(tree(self.target), tree(source))
        other = os.path.join(self.folder, "bsdtar")
        os.mkdir(other)
        subprocess.run(["bsdtar", "-x", "-p", "-f", self.archive, "-C", other], check=True, env={"LC_ALL": "C.UTF-8"})
        self.assertEqual(tree(self.target), tree(other))

    def test_what_info_zip_wrote(self):
        source = self.application()
        subprocess.run(["zip", "-q", "-r", self.archive, APP], cwd=source, check=True)
        self.assert_expands()
        self.assert_same_tree_as_the_source(source)

    def test_what_info_zip_wrote_without_extra_fields(self):
        source = self.application()
        subprocess.run(["zip", "-q", "-r", "-X", self.archive, APP], cwd=source, check=True, env={**os.environ, "TZ": "UTC"})
        run = self.expand(env={**os.environ, "TZ": "UTC"})
        self.assertEqual((run.stderr, run.returncode), (b"", 0))
        self.assertEqual(tree(self.target), tree(source))

    def test_what_info_zip_wrote_with_64_bit_fields_throughout(self):
        source = self.application()
        subprocess.run(["zip", "-q", "-r", "-fz", self.archive, APP], cwd=source, check=True)
        self.assert_expands()
        self.assert_same_tree_as_the_source(source)

    def test_what_info_zip_wrote_to_a_pipe(self):
        source = self.application()
        with open(self.archive, "wb") as out:
            writer = subprocess.Popen(["zip", "-q", "-r", "-", APP], cwd=source, stdout=subprocess.PIPE)
            shutil.copyfileobj(writer.stdout, out)
            self.assertEqual(writer.wait(), 0)
            writer.stdout.close()
        self.assert_expands()
        self.assert_same_tree_as_the_source(source)

    def test_what_bsdtar_wrote(self):
        source = self.application()
        subprocess.run(["bsdtar", "-c", "--format", "zip", "-f", self.archive, APP], cwd=source, check=True,
                       env={"LC_ALL": "C.UTF-8"})
        self.assert_expands()
        self.assertEqual(contents(self.target), contents(source))

    def test_what_python_wrote(self):
        source = self.application()
        with zipfile.ZipFile(self.archive, "w", zipfile.ZIP_DEFLATED) as out:
            for folder, _, files in os.walk(source):
                for name in [""] + files:
                    path = os.path.join(folder, name)
                    if path.rstrip("/") != source:
                        out.write(path, os.path.relpath(path, source))
        self.assert_expands()
        self.assertEqual(contents(self.target), contents(source))

    def test_what_python_wrote_to_a_stream_with_64_bit_sizes(self):
        with open(self.archive, "wb") as raw:
            class Stream:
                def write(self, data):
                    return raw.write(data)

                def flush(self):
                    raw.flush()
            with zipfile.ZipFile(Stream(), "w", zipfile.ZIP_DEFLATED) as out:
                with out.open(f"{APP}/large", "w", force_zip64=True) as entry:
                    entry.write(b"data" * 1000)
        self.assert_expands()
        self.assertEqual(contents(self.target), {APP: None, f"{APP}/large": b"data" * 1000})

    def test_a_64_bit_end_record(self):
        self.assert_expands(archive(Entry(f"{APP}/a", b"a"), zip64=True))
        self.assertEqual(contents(self.target)[f"{APP}/a"], b"a")

    def test_five_thousand_entries(self):
        names = [f"{APP}/Contents/Resources/{i % 50}/{i}" for i in range(5000)]
        self.assert_expands(archive(*(Entry(name, name.encode(), deflate=True) for name in names)))
        found = contents(self.target)
        self.assertEqual([found[name] for name in names], [name.encode() for name in names])

    def test_more_entries_than_16_bits_count(self):
        names = [f"{APP}/{i}" for i in range(70000)]
        self.assert_expands(archive(*(Entry(name) for name in names), zip64=True))
        self.assertEqual(len(os.listdir(os.path.join(self.target, APP))), 70000)

    def test_a_path_of_1024_bytes(self):
        """More is no path on a Mac."""
        name = APP + "/" + "/".join(["x" * 99] * 10 + ["y" * 8])
        self.assertEqual(len(name), 1024)
        self.assert_expands(archive(Entry(name, b"deep"), Entry(name[:-8] + "folder/z/")))
        self.assertEqual(contents(self.target)[name], b"deep")

    def test_implied_folders_with_mode_0755_whatever_the_umask(self):
        self.write(archive(Entry(f"{APP}/Contents/a", b"a")))
        run = self.expand(preexec_fn=lambda: os.umask(0o077))
        self.assertEqual(run.returncode, 0)
        for folder in (APP, f"{APP}/Contents"):
            self.assertEqual(stat.S_IMODE(os.stat(os.path.join(self.target, folder)).st_mode), 0o755)

    def test_modes_without_the_set_user_set_group_and_sticky_bits(self):
        self.assert_expands(archive(Entry(f"{APP}/", mode=0o041777), Entry(f"{APP}/a", b"", mode=0o106755)))
        modes = {path: oct(stat.S_IMODE(mode)) for path, (mode, _, _) in tree(self.target).items()}
        self.assertEqual(modes, {APP: "0o777", f"{APP}/a": "0o755"})

    def test_a_folder_that_forbids_writing_with_its_content(self):
        self.assert_expands(archive(Entry(f"{APP}/", mode=0o040555), Entry(f"{APP}/a", b"a", mode=0o100444)))
        self.assertEqual(contents(self.target), {APP: None, f"{APP}/a": b"a"})

    def test_a_folder_listed_after_its_content(self):
        self.assert_expands(archive(Entry(f"{APP}/a", b"a"), Entry(f"{APP}/", mode=0o040700)))
        self.assertEqual(stat.S_IMODE(os.stat(os.path.join(self.target, APP)).st_mode), 0o700)

    def test_entries_without_any_mode(self):
        self.assert_expands(archive(Entry(f"{APP}/", mode=0, system=MS_DOS), Entry(f"{APP}/a", b"a", mode=0, system=MS_DOS)))
        modes = {path: oct(stat.S_IMODE(mode)) for path, (mode, _, _) in tree(self.target).items()}
        self.assertEqual(modes, {APP: "0o755", f"{APP}/a": "0o644"})

    def test_entries_made_on_a_mac_with_decomposed_names(self):
        name = f"{APP}/u\u0308ber"
        self.assert_expands(archive(Entry(name, b"a", system=DARWIN), Entry(f"{APP}/a", b"b", system=DARWIN)))
        self.assertEqual(contents(self.target)[name], b"a")

    def test_an_entry_whose_unicode_path_repeats_its_name(self):
        name = f"{APP}/\u00fc"
        self.assert_expands(archive(Entry(name, b"a", extra=unicode_path(name, name))))
        self.assertEqual(contents(self.target)[name], b"a")

    def test_an_archive_behind_a_program_that_expands_itself(self):
        self.assert_expands(archive(Entry(f"{APP}/a", b"a"), prefix=b"#!/bin/sh\nexec true\n"))
        self.assertEqual(contents(self.target)[f"{APP}/a"], b"a")

    def test_an_archive_with_junk_behind_it(self):
        self.assert_expands(archive(Entry(f"{APP}/a", b"a"), suffix=b"junk" * 100))
        self.assertEqual(contents(self.target)[f"{APP}/a"], b"a")

    def test_an_archive_whose_last_file_is_an_archive(self):
        inner = archive(Entry("a", b"a"))
        self.assert_expands(archive(Entry(f"{APP}/inner.zip", inner)))
        self.assertEqual(contents(self.target)[f"{APP}/inner.zip"], inner)

    def test_an_archive_without_entries(self):
        self.assert_expands(archive())
        self.assertEqual(tree(self.target), {})

    def test_33_resource_forks_as_plain_files(self):
        """A Mac merges them into attributes; here they stay, unsealed, for the signature check to find."""
        self.assert_expands(archive(Entry(f"{APP}/Contents/._a", b"fork"), Entry("__MACOSX/._a", b"fork")))
        self.assertEqual(contents(self.target)[f"{APP}/Contents/._a"], b"fork")

    def test_into_a_folder_that_is_not_there_yet(self):
        os.rmdir(self.target)
        self.assert_expands(archive(Entry(f"{APP}/a", b"a")))
        self.assertEqual(contents(self.target)[f"{APP}/a"], b"a")


class DittoRefuses(Case):
    """Tests of one number are variants of one published attack."""

    def test_25_links_whatever_system_made_them(self):
        for system, reason in ((VMS, "not supported"), (AMIGA, "not supported"), (MS_DOS, "neither a file nor a folder"),
                               (3, "neither a file nor a folder"), (DARWIN, "neither a file nor a folder")):
            with self.subTest(system=system):
                self.assert_refuses(archive(Entry(f"{APP}/a", b"/etc/passwd", mode=LINK, system=system)), reason)

    def test_25_pipes_and_devices(self):
        for mode in (PIPE, 0o020644, 0o060644, 0o140644):
            with self.subTest(mode=oct(mode)):
                self.assert_refuses(archive(Entry(f"{APP}/a", mode=mode)), "neither a file nor a folder")

    def test_25_links_by_extra_fields(self):
        for identifier in (0x000D, 0x756E, 0x6C78):
            with self.subTest(field=hex(identifier)):
                extra = field(identifier, b"\0" * 14 + b"/etc/passwd")
                self.assert_refuses(archive(Entry(f"{APP}/a", b"x", extra=extra)), "not supported")

    def test_25_entries_with_two_types(self):
        for name, mode in ((f"{APP}/a", 0o040755), (f"{APP}/a/", FILE)):
            self.assert_refuses(archive(Entry(name, mode=mode)), "a file by its name")
        self.assert_refuses(archive(Entry(f"{APP}/a", central={"attributes": FILE << 16 | 0x10})), "a file by its name")

    def test_26_records_that_the_directory_does_not_list(self):
        listed, hidden = Entry(f"{APP}/a", b"a"), Entry("../evil", b"evil").local_record()
        self.assert_refuses(archive(listed, hidden=hidden), "between its records and its directory")
        self.assert_refuses(archive(listed, prefix=hidden), "begins with a record it does not list")
        self.assert_refuses(archive(Entry(f"{APP}/a", b"a", descriptor=hidden), Entry(f"{APP}/b", b"b")), "between its records")

    def test_27_a_local_name_that_differs(self):
        self.assert_refuses(archive(Entry(f"{APP}/a", b"a", local={"name": f"{APP}/b".encode()})), "one name in its record")

    def test_27_local_fields_that_differ(self):
        for change, reason in (({"method": 8}, "packed in one way"), ({"size": 2}, "one size or checksum in its record"),
                               ({"packed_size": 2}, "one size or checksum in its record"),
                               ({"crc": 1}, "one size or checksum in its record"), ({"flags": 8}, "packed in one way")):
            with self.subTest(change=change):
                self.assert_refuses(archive(Entry(f"{APP}/a", b"a", local=change)), reason)

    def test_27_a_descriptor_that_differs(self):
        entry = Entry(f"{APP}/a", b"a", flags=8, descriptor=struct.pack("<IIII", 0x08074B50, 1, 1, 1))
        self.assert_refuses(archive(entry), "behind its data")

    def test_28_a_unicode_path_that_differs(self):
        name, other = "../../evil", f"{APP}/a"
        self.assert_refuses(archive(Entry(name, b"a", extra=unicode_path(name, other))), "Unicode path")
        self.assert_refuses(archive(Entry(other, b"a", extra=unicode_path(other, name))), "Unicode path")
        self.assert_refuses(archive(Entry(other, b"a", local={"extra": unicode_path(other, name)})), "Unicode path")

    def test_29_control_bytes(self):
        for byte in list(range(0x20)) + [0x7F]:
            with self.subTest(byte=byte):
                self.assert_refuses(archive(Entry(APP.encode() + b"/a" + bytes([byte]) + b"b")), "control character")

    def test_30_names_that_are_one_on_a_mac(self):
        same = (("a", "a"), ("a", "A"), ("\u00fc", "u\u0308"), ("\u00dc", "u\u0308"), ("\u03a3", "\u03c2"), ("a", "a\u200d"),
                ("d/", "D/"), ("d/", "d/"), ("d", "d/"), ("d/x", "d/X"))
        below = (("d/x", "D/y"), ("d/x", "d"), ("d/x/y", "d/x"), ("d", "D/x"), ("d/", "D/x"), ("d/x/", "D/y/"),
                 ("\u200d/x", "\u200c/y"), ("\u00fc/x", "u\u0308/y/z"))
        for pairs, reason in ((same, "same name"), (below, "below a file")):
            for pair in [*pairs, *(tuple(reversed(pair)) for pair in pairs)]:
                # Names between the two, and around them, do not hide them from each other.
                for further in ((), ("d/w/", "d-x", "d/x!", "a!", "Z/z"), ("0", "\U0001f600", "d.x/x")):
                    with self.subTest(pair=pair, further=further):
                        names = [f"{APP}/{name}" for name in (pair[0], *further, pair[1])]
                        self.assert_refuses(archive(*map(Entry, names)), reason)

    def test_30_the_bundle_as_a_file_with_children(self):
        self.assert_refuses(archive(Entry(APP, b"a"), Entry(f"{APP}/a", b"a")), "below a file")
        self.assert_refuses(archive(Entry(f"{APP}/a", b"a"), Entry(APP, b"a")), "below a file")

    def test_31_names_that_no_file_can_have(self):
        for name, reason in ((b"a\0b", "control character"), (b"\xfc", "not UTF-8"), (b"\xed\xa0\x80", "not UTF-8"),
                             (b"\xc0\xaf", "not UTF-8"), (b"x" * 256, "too long"), (b"x/" * 512 + b"x", "too long"),
                             (b"x/" * 512 + b"/", "empty component"), (b"x/" * 2100, "too long")):
            with self.subTest(name=name[:8]):
                self.assert_refuses(archive(Entry(name)), reason)

    def test_31_an_empty_name(self):
        self.assert_refuses(archive(Entry("")), "empty component")

    def test_31_names_that_leave_the_folder(self):
        for name in ("/etc/passwd", "../a", "a/../b", "a/..", "..", ".", "./a", "a//b", "//", "a//", "a/./b"):
            with self.subTest(name=name):
                self.write(archive(Entry(name)))
                run = self.expand()
                self.assertEqual((run.returncode, os.listdir(self.target)), (1, []))
        self.assert_refuses(archive(Entry("a\\..\\b")), "backslash")

    def test_31_encrypted_and_unknown_kinds(self):
        for flag in (0x0001, 0x0010, 0x0020, 0x0040, 0x2000):
            with self.subTest(flag=hex(flag)):
                self.assert_refuses(archive(Entry(f"{APP}/a", b"a", flags=flag)), "encrypted")
        self.assert_refuses(archive(Entry(f"{APP}/a", b"a", extra=field(0x9901, b"\2\0AE\3\0\0"))), "not supported")

    def test_31_unknown_compression(self):
        for method in (1, 6, 9, 12, 14, 93, 95, 99):
            change = {"method": method}
            with self.subTest(method=method):
                self.assert_refuses(archive(Entry(f"{APP}/a", b"a", local=change, central=change)), "unsupported way")

    def test_31_another_count_than_entries(self):
        for count in (0, 2, 0xFFFF):
            with self.subTest(count=count):
                self.assert_refuses(archive(Entry(f"{APP}/a"), count=count), "as many entries")
                self.assert_refuses(archive(Entry(f"{APP}/a"), count=count, zip64=True), "as many entries")

    def test_35_more_data_than_declared(self):
        bomb = Entry(f"{APP}/a", b"\0" * 5_000_000, deflate=True)
        for size in (0, 1, 4_999_999):
            with self.subTest(size=size):
                change = {"size": size}
                self.write(archive(Entry(f"{APP}/a", bomb.data, deflate=True, local=change, central=change)))
                run = self.expand()
                self.assertEqual((run.returncode, os.listdir(self.target)), (1, []))

    def test_35_less_data_than_declared(self):
        change = {"size": 6}
        entry = Entry(f"{APP}/a", b"hello", deflate=True, local=change, central=change)
        self.write(archive(entry))
        run = self.expand()
        self.assertEqual((run.returncode, os.listdir(self.target)), (1, []))

    def test_35_a_wrong_checksum_after_good_entries(self):
        change = {"crc": 1}
        for deflate in (False, True):
            bad = Entry(f"{APP}/deep/er/b", b"hello", deflate=deflate, local=change, central=change)
            self.write(archive(Entry(f"{APP}/", mode=0o040500), Entry(f"{APP}/a", b"a"), bad))
            run = self.expand()
            self.assertEqual((run.returncode, os.listdir(self.target)), (1, []))

    def test_35_data_that_is_not_deflated(self):
        for packed in (b"", b"\xff" * 40, b"\x03"):
            self.write(archive(Entry(f"{APP}/a", b"hello", deflate=True, packed=packed)))
            run = self.expand()
            self.assertEqual((run.returncode, os.listdir(self.target)), (1, []))

    def test_35_records_that_overlap(self):
        first = Entry(f"{APP}/a", b"a" * 100)
        inside = Entry(f"{APP}/b", b"b", central={"offset": 40})
        same = Entry(f"{APP}/b", b"b", central={"offset": 0})
        self.assert_refuses(archive(first, inside), "overlap")
        self.assert_refuses(archive(first, same), "overlap")

    def test_35_records_outside_the_file(self):
        for offset in (10_000, 0xFFFFFFF0):
            with self.subTest(offset=offset):
                self.write(archive(Entry(f"{APP}/a", b"a", central={"offset": offset})))
                self.assertEqual(self.expand().returncode, 1)
        change = {"packed_size": 50_000, "size": 50_000}
        self.assert_refuses(archive(Entry(f"{APP}/a", b"a", local=change, central=change)), "runs into the directory")

    def test_35_more_than_the_disk_has_free(self):
        change = {"size": 0xFFFFFFF0}
        entries = [Entry(f"{APP}/{i}", b"a", deflate=True, local=change, central=change) for i in range(20_000)]
        self.assert_refuses(archive(*entries), "more space than there is")

    def test_37_end_records_of_which_readers_take_different_ones(self):
        inner = archive(Entry(f"{APP}/evil", b"evil"))
        outer = archive(Entry(f"{APP}/a", b"a"))
        self.assert_refuses(archive(Entry(f"{APP}/a", b"a"), comment=end_record(0, 0, 0)), "inside the comment")
        # Behind a third record, so that not only neighbours are compared.
        self.assert_refuses(archive(Entry(f"{APP}/a", b"a"), comment=end_record(0, 0, 0) + inner), "inside the comment")
        self.assert_refuses(outer + inner, "where its end record says")
        self.assert_refuses(archive(Entry(f"{APP}/a", b"a"))[:-2] + b"\x05\x00ab", "cut short")

    def test_37_a_prefix_that_the_offsets_leave_out(self):
        self.assert_refuses(b"#!/bin/sh\n" + archive(Entry(f"{APP}/a", b"a")), "where its end record says")

    def test_37_end_records_that_disagree(self):
        good = archive(Entry(f"{APP}/a", b"a"), zip64=True)
        self.assert_refuses(good[:-22] + end_record(2, 0xFFFFFFFF, 0xFFFFFFFF), "disagree")

    def test_38_archives_in_several_files(self):
        self.assert_refuses(archive(Entry(f"{APP}/a", b"a", central={"disk": 1})), "several files")

    def test_folders_with_content(self):
        self.assert_refuses(archive(Entry(f"{APP}/", b"hidden")), "content")

    def test_every_truncation(self):
        whole = archive(Entry(f"{APP}/a", b"a" * 50, deflate=True), Entry(f"{APP}/b", b"b"))
        for length in range(len(whole)):
            self.write(whole[:length])
            self.assertEqual((self.expand().returncode, os.listdir(self.target)), (1, []), length)

    def test_what_is_no_archive(self):
        self.assert_refuses(b"", "not a zip archive")
        self.assert_refuses(b"no zip archive" * 100, "not a zip archive")

    def test_an_archive_that_is_no_file(self):
        os.mkfifo(self.archive)
        run = self.expand()
        self.assertEqual((run.returncode, os.listdir(self.target)), (1, []))
        os.remove(self.archive)
        self.assertEqual(self.expand().returncode, 1)

    def test_to_replace_what_is_there(self):
        os.mkdir(os.path.join(self.target, APP))
        self.assert_refuses(archive(Entry("first", b"1"), Entry(f"{APP}/a", b"a")), "File exists")

    def test_to_follow_a_link_that_is_there(self):
        os.symlink(self.folder, os.path.join(self.target, APP))
        self.assert_refuses(archive(Entry(f"{APP}/a", b"a")), "File exists")

    def test_to_leave_a_folder_that_it_created_behind(self):
        os.rmdir(self.target)
        self.write(archive(Entry(f"{APP}/a", b"a", local={"crc": 1}, central={"crc": 1})))
        self.assertEqual(self.expand().returncode, 1)
        self.assertFalse(os.path.exists(self.target))

    def test_every_other_usage(self):
        for arguments in ((), ("-x", "-k", "a"), ("-c", "-k", "a", "b"), ("-k", "-x", "a", "b"), ("-x", "-k", "a", "b", "c"),
                          ("-x", "-k", "", "b"), ("-xk", "a", "b"), ("--help",)):
            run = self.ditto(*arguments)
            self.assertEqual((run.stdout, run.stderr, run.returncode), (b"", b"usage: ditto -x -k ARCHIVE DIRECTORY\n", 2))


class DittoIsInterrupted(Case):
    def processes_of(self, program):
        """The processes that run this program."""
        found = []
        for process in filter(str.isdigit, os.listdir("/proc")):
            try:
                if os.readlink(f"/proc/{process}/exe") == program:
                    found.append(int(process))
            except OSError:
                pass  # it has ended, or is not ours
        return found

    def test_and_removes_what_it_created(self):
        program = shutil.copy(DITTO, os.path.join(self.folder, "ditto"))
        self.write(archive(Entry(f"{APP}/a", b"a" * (8 << 20), deflate=True)))
        for number in (signal.SIGHUP, signal.SIGINT, signal.SIGTERM):
            with self.subTest(signal=number):
                # Each write takes a tenth of a second.
                command = ["strace", "-o", "/dev/null", "-e", "trace=write", "-e", "inject=write:delay_enter=100000",
                           program, "-x", "-k", self.archive, self.target]
                tracer = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                          env=traceable_environment())
                deadline = time.monotonic() + 60
                while not os.path.exists(os.path.join(self.target, APP, "a")):
                    self.assertLess(time.monotonic(), deadline)
                    time.sleep(0.001)
                (process,) = self.processes_of(program)
                os.kill(process, number)
                output, errors = tracer.communicate(timeout=60)
                self.assertEqual((output, errors), (b"", f"ditto: {self.archive}: interrupted\n".encode()))
                self.assertEqual((tracer.returncode, os.listdir(self.target)), (1, []))


class DittoOnAFullDisk(Case):
    SCRIPT = """set -e
mount -t tmpfs -o size=64k,nr_inodes=40 small "$2"
set +e; "$1" -x -k "$3" "$2"; echo "status $?"; ls -A "$2"; df --output=used "$2" | tail -1"""

    def assert_cleans_up(self, *entries):
        self.write(archive(*entries))
        run = subprocess.run(["unshare", "-Urm", "sh", "-c", self.SCRIPT, "sh", DITTO, self.target, self.archive],
                             capture_output=True, check=True, text=True, timeout=60)
        self.assertIn("No space left on device", run.stderr)
        self.assertEqual(run.stdout.split(), ["status", "1", "0"])

    def test_removes_what_it_wrote(self):
        # 15 pages for folders' names and contents do not fit although the declared sizes do.
        self.assert_cleans_up(*(Entry(f"{APP}/{i}", b"x" * 100) for i in range(17)))

    def test_removes_what_it_created_when_there_are_no_more_files(self):
        self.assert_cleans_up(*(Entry(f"{APP}/d{i}/empty") for i in range(40)))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]] + sys.argv[2:], verbosity=2)
