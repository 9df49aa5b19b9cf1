"""`lipo -archs` on Mach-O files written byte by byte, beside the answer of LLVM's lipo, and on compiled ones."""

import os
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

LIPO = os.path.realpath(sys.argv[1])
LLVM_LIPO = shutil.which("llvm-lipo-14") or shutil.which("llvm-lipo")
LLVM_AR = shutil.which("llvm-ar-14") or shutil.which("llvm-ar")

WIDE, NARROW = 0x01000000, 0x02000000
X86_64, ARM64 = (7 | WIDE, 3), (12 | WIDE, 0)
FEATURES = 0x80000000
# Those that LLVM names alike, and those that it does not.
NAMES = {
    "i386": (7, 3), "x86_64": X86_64, "x86_64h": (7 | WIDE, 8), "armv4t": (12, 5), "armv6": (12, 6), "xscale": (12, 8),
    "armv7": (12, 9), "armv7s": (12, 11), "armv7k": (12, 12), "armv6m": (12, 14), "arm64": ARM64,
    "arm64e": (12 | WIDE, 2), "arm64_32": (12 | NARROW, 1), "ppc": (18, 0), "ppc64": (18 | WIDE, 0),
}
APPLE_NAMES = {
    "arm": (12, 0), "armv5": (12, 7), "armv7f": (12, 10), "armv7m": (12, 15), "armv7em": (12, 16),
    "arm64v8": (12 | WIDE, 1), "ppc601": (18, 1), "ppc603": (18, 3), "ppc603e": (18, 4), "ppc603ev": (18, 5), "ppc604": (18, 6),
    "ppc604e": (18, 7), "ppc750": (18, 9), "ppc7400": (18, 10), "ppc7450": (18, 11), "ppc970": (18, 100),
    "ppc970-64": (18 | WIDE, 100),
}
BIG_ENDIAN_TYPES = (18, 18 | WIDE)
UNKNOWN_TYPE = "can't figure out the architecture type"


def thin(cpu, commands=b"", count=0, order=None, content=b"", is_wide=None):
    """A Mach-O file of a processor; in its own byte order and width unless told otherwise."""
    order = order or (">" if cpu[0] in BIG_ENDIAN_TYPES else "<")
    is_wide = bool(cpu[0] & WIDE) if is_wide is None else is_wide
    header = struct.pack(order + "IIIIIII", 0xFEEDFACF if is_wide else 0xFEEDFACE, *cpu, 2, count, len(commands), 0)
    return header + (bytes(4) if is_wide else b"") + commands + content


def universal(slices, is_wide=False, alignment=12):
    """A universal file of pairs of a processor and a content."""
    table, content = b"", b""
    offset = -(-(8 + len(slices) * (32 if is_wide else 20)) // (1 << alignment)) << alignment
    start = offset
    for (kind, subtype), data in slices:
        table += struct.pack(">IIQQII" if is_wide else ">IIIII", kind, subtype, offset, len(data), alignment,
                             *([0] if is_wide else []))
        content += data + bytes(-len(data) % (1 << alignment))
        offset += len(data) + -len(data) % (1 << alignment)
    head = struct.pack(">II", 0xCAFEBABF if is_wide else 0xCAFEBABE, len(slices)) + table
    return head.ljust(start, b"\0") + content


def member(name, data, size=None):
    header = b"%-16s%-12d%-6d%-6d%-8o%-10d`\n" % (name, 0, 0, 0, 0o644, len(data) if size is None else size)
    return header + data + b"\n" * (len(data) % 2)


def long_member(name, data):
    padded = name + bytes(-len(name) % 4)
    return member(b"#1/%d" % len(padded), padded + data)


def archive(*members):
    return b"!<arch>\n" + b"".join(members)


class Case(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="lipo-test.")
        self.addCleanup(shutil.rmtree, self.folder, True)
        self.path = os.path.join(self.folder, "file")

    def write(self, content):
        with open(self.path, "wb") as file:
            file.write(content)
        return self.path

    @staticmethod
    def lipo(*arguments, **options):
        run = subprocess.run([LIPO] + list(arguments), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                             stderr=subprocess.PIPE, timeout=60, check=False, **options)
        return run.returncode, run.stdout.decode(), run.stderr.decode()

    def answers(self, content, names):
        self.assertEqual(self.lipo("-archs", self.write(content)), (0, names + "\n", ""))

    def agrees_with_llvm(self, content, names):
        self.answers(content, names)
        run = subprocess.run([LLVM_LIPO, "-archs", self.path], stdin=subprocess.DEVNULL, capture_output=True, timeout=60,
                             check=True)
        self.assertEqual(run.stdout.decode().split(), names.split())

    def refuses(self, content, reason):
        self.assertEqual(self.lipo("-archs", self.write(content)), (1, "", f"lipo: {self.path}: {reason}\n"))


class ThinFiles(Case):
    def test_every_name(self):
        for name, cpu in NAMES.items():
            with self.subTest(name=name):
                self.agrees_with_llvm(thin(cpu), name)
        for name, cpu in APPLE_NAMES.items():
            with self.subTest(name=name):
                self.answers(thin(cpu), name)

    def test_both_byte_orders_and_widths(self):
        for cpu in (X86_64, (7, 3), (18, 0), (18 | WIDE, 0)):
            name = next(name for name, value in NAMES.items() if value == cpu)
            for order in "<>":
                for is_wide in (False, True):
                    with self.subTest(name=name, order=order, is_wide=is_wide):
                        self.answers(thin(cpu, order=order, is_wide=is_wide), name)

    def test_features_are_not_part_of_the_name(self):
        self.agrees_with_llvm(thin((X86_64[0], X86_64[1] | FEATURES)), "x86_64")
        self.agrees_with_llvm(thin((12 | WIDE, 2 | FEATURES)), "arm64e")

    def test_what_has_no_name_is_told_in_numbers(self):
        self.answers(thin((7, 4)), "unknown(7,4)")
        self.answers(thin((12 | WIDE, 77 | FEATURES)), "unknown(16777228,77)")
        self.answers(thin((0xFFFFFFFF, 0xFFFFFFFF)), "unknown(-1,16777215)")

    def test_headers_and_commands_lie_inside_the_file(self):
        whole = thin(X86_64, commands=struct.pack("<II", 0x1B, 24) + bytes(16), count=1)
        self.agrees_with_llvm(whole, "x86_64")
        self.refuses(whole[:-1], "truncated or malformed object: its load commands do not fit")
        self.refuses(whole[:31], "truncated or malformed object")
        self.refuses(whole[:4], "truncated or malformed object")
        self.refuses(thin((7, 3))[:27], "truncated or malformed object")
        for place, number in ((16, 4), (16, 0xFFFFFFFF), (20, 25), (20, 0xFFFFFFFF), (20, 0)):
            with self.subTest(place=place, number=number):
                spoiled = bytearray(whole)
                struct.pack_into("<I", spoiled, place, number)
                self.refuses(bytes(spoiled), "truncated or malformed object: its load commands do not fit")

    def test_what_is_no_mach_o_file(self):
        for content in (b"", b"\xcf", b"\xcf\xfa\xed", b"#!/bin/sh\n", b"\x7fELF" + bytes(60), bytes(100),
                        b"\xfe\xed\xfa\xcd" + bytes(60), b"!<arch>", b"!<thin>\n", b"\xca\xfe\xba\xbe",
                        b"\xbe\xba\xfe\xca" + bytes(60)):
            with self.subTest(content=content[:8]):
                self.refuses(content, UNKNOWN_TYPE)


class UniversalFiles(Case):
    both = [(X86_64, thin(X86_64)), (ARM64, thin(ARM64))]

    def test_the_order_is_that_of_the_file(self):
        for is_wide in (False, True):
            with self.subTest(is_wide=is_wide):
                self.agrees_with_llvm(universal(self.both, is_wide), "x86_64 arm64")
                self.agrees_with_llvm(universal(self.both[::-1], is_wide), "arm64 x86_64")
                self.agrees_with_llvm(universal(self.both[1:], is_wide), "arm64")

    def test_slices_in_another_order_than_the_table(self):
        whole = universal(self.both)
        self.answers(whole[:8] + whole[28:48] + whole[8:28] + whole[48:], "arm64 x86_64")

    def test_features_and_unknown_processors(self):
        slices = [((cpu[0], cpu[1] | FEATURES), thin(cpu)) for cpu in (X86_64, (12 | WIDE, 2))] + [((7, 4), thin((7, 4)))]
        self.answers(universal(slices), "x86_64 arm64e unknown(7,4)")

    def test_every_name_in_one_file(self):
        named = {name: cpu for name, cpu in NAMES.items() if name in ("i386", "x86_64", "x86_64h", "armv7", "armv7s",
                                                                      "armv7k", "arm64", "arm64e", "arm64_32")}
        self.agrees_with_llvm(universal([(cpu, thin(cpu)) for cpu in named.values()]), " ".join(named))
        everything = dict(NAMES, **APPLE_NAMES)
        self.answers(universal([(cpu, thin(cpu)) for cpu in everything.values()], alignment=5), " ".join(everything))

    def test_the_number_of_slices(self):
        slices = [((7, number), b"x") for number in range(1000, 1101)]
        self.answers(universal(slices[:100], alignment=2), " ".join(f"unknown(7,{1000 + n})" for n in range(100)))
        impossible = "malformed universal file: the number of its slices is impossible"
        self.refuses(universal(slices, alignment=2), impossible)
        self.refuses(universal([]) + bytes(100), impossible)
        self.refuses(struct.pack(">II", 0xCAFEBABE, 0xFFFFFFFF) + bytes(4000), impossible)
        # The same magic with a version: a Java class.
        self.refuses(struct.pack(">IHH", 0xCAFEBABE, 3, 45) + bytes(4000), impossible)

    def test_the_table_lies_inside_the_file(self):
        for is_wide in (False, True):
            with self.subTest(is_wide=is_wide):
                self.refuses(universal(self.both, is_wide)[:47], "truncated or malformed file")
        self.refuses(universal(self.both)[:8], "truncated or malformed file")

    def test_slices_lie_inside_the_file_behind_the_table_and_apart(self):
        beyond = "malformed universal file: a slice reaches beyond the file"
        overlap = "malformed universal file: slices are empty or overlap"
        unaligned = "malformed universal file: a slice is not aligned"
        narrow, wide = universal(self.both), universal(self.both, is_wide=True)
        first, second = 4096, 8192
        for whole, form, place, number, reason in (
                (narrow, ">I", 16, 0xFFFFF000, beyond), (narrow, ">I", 20, 0xFFFFFFFF, beyond),
                (narrow, ">I", 36, len(narrow), beyond), (narrow, ">I", 40, len(narrow) - second + 1, beyond),
                (narrow, ">I", 16, 0, overlap), (narrow, ">I", 36, first, overlap),
                (narrow, ">I", 20, second - first + 1, overlap), (narrow, ">I", 20, 0, overlap),
                (narrow, ">I", 16, first + 8, unaligned), (narrow, ">I", 24, 13, unaligned),
                (narrow, ">I", 24, 31, unaligned), (narrow, ">I", 24, 0xFFFFFFFF, unaligned),
                (wide, ">Q", 16, 0xFFFFFFFFFFFFF000, beyond), (wide, ">Q", 24, 0xFFFFFFFFFFFFFFFF, beyond),
                (wide, ">Q", 24, (1 << 64) - first + 1, beyond), (wide, ">Q", 48, first, overlap)):
            with self.subTest(place=place, number=hex(number), size=struct.calcsize(form)):
                spoiled = bytearray(whole)
                struct.pack_into(form, spoiled, place, number)
                self.refuses(bytes(spoiled), reason)

    def test_no_architecture_occurs_twice(self):
        twice = "malformed universal file: it contains two of the same architecture"
        self.refuses(universal(self.both + self.both[:1]), twice)
        self.refuses(universal([self.both[0], ((X86_64[0], X86_64[1] | FEATURES), thin(X86_64))]), twice)


class Archives(Case):
    def test_the_architecture_of_the_members(self):
        code = thin(ARM64)
        for content in (archive(member(b"a.o/", code)),
                        archive(member(b"a.o", code), member(b"b.o", code + b"x"), member(b"c.o", code)),
                        archive(long_member(b"__.SYMDEF SORTED", b"12345678"), long_member(b"a long name.o", code)),
                        archive(member(b"__.SYMDEF", b"1234567"), member(b"a.o", code)),
                        archive(member(b"/", b"1234"), member(b"//", b"a long name.o/\n"), member(b"/0", code))):
            with self.subTest(content=content[8:24]):
                self.answers(content, "arm64")

    def test_members_agree(self):
        self.refuses(archive(member(b"a.o", thin(ARM64)), member(b"b.o", thin(X86_64))),
                     "the archive has members of different architectures")
        self.refuses(archive(member(b"a.o", thin(ARM64)), member(b"b.o", thin((12 | WIDE, 2)))),
                     "the archive has members of different architectures")

    def test_members_are_object_files(self):
        for content in (b"text", b"", universal(UniversalFiles.both)):
            with self.subTest(content=content[:4]):
                self.refuses(archive(member(b"a.o", thin(ARM64)), member(b"b", content)),
                             "the archive has a member that is no object file")

    def test_there_are_members(self):
        for content in (archive(), archive(member(b"__.SYMDEF", b"")), archive(long_member(b"__.SYMDEF_64", b""))):
            with self.subTest(content=content[8:24]):
                self.refuses(content, "the archive has no members with an architecture")

    def test_members_lie_inside_the_archive(self):
        code = thin(ARM64)
        self.refuses(archive(member(b"a.o", code, len(code) + 1)), "malformed archive: a member is cut short")
        self.refuses(archive(member(b"a.o", code, 9999999999)), "malformed archive: a member is cut short")
        self.refuses(archive(member(b"a.o", code))[:40], "truncated or malformed file")
        self.refuses(archive(member(b"a.o", code), b"x" * 60), "malformed archive: a member has no header")
        self.refuses(archive(member(b"#1/33", code)), "malformed archive: a name is cut short")
        self.refuses(archive(member(b"a.o", code[:20])), "truncated or malformed object")
        for size in (b"          ", b"-1        ", b"0x20      ", b"3 2       ", b" 32       "):
            with self.subTest(size=size):
                self.refuses(archive(member(b"a.o", code).replace(b"32        ", size)),
                             "malformed archive: a size is no number")
        for name in (b"#1/", b"#1/x", b"#1/-4"):
            with self.subTest(name=name):
                self.refuses(archive(member(name, code)), "malformed archive: a size is no number")


class CompiledFiles(Case):
    def compile(self, name):
        source, target = os.path.join(self.folder, "code.c"), os.path.join(self.folder, name + ".o")
        with open(source, "w") as file:
            file.write("int answer(void) { return 42; }\n")
        subprocess.run(["clang", "-target", name + "-apple-macos11", "-c", source, "-o", target], check=True, timeout=60,
                       stderr=subprocess.DEVNULL)
        return target

    def test_objects_universal_files_and_archives(self):
        names = ("x86_64", "x86_64h", "arm64", "arm64e", "i386", "armv7", "armv7s", "armv7k")
        objects = [self.compile(name) for name in names]
        for name, path in zip(names, objects):
            with open(path, "rb") as file:
                self.agrees_with_llvm(file.read(), name)
        subprocess.run([LLVM_LIPO, "-create", *objects, "-output", self.path], check=True, timeout=60)
        code, line, error = self.lipo("-archs", self.path)
        listed = subprocess.run([LLVM_LIPO, "-archs", self.path], check=True, timeout=60, stdout=subprocess.PIPE)
        self.assertEqual((code, line.split(), error), (0, listed.stdout.decode().split(), ""))
        self.assertEqual(sorted(line.split()), sorted(names))
        for form in ("darwin", "gnu"):
            library = os.path.join(self.folder, form + ".a")
            subprocess.run([LLVM_AR, "rcs", "--format=" + form, library, objects[2], objects[2]], check=True, timeout=60)
            self.assertEqual(self.lipo("-archs", library), (0, "arm64\n", ""))


class Command(Case):
    def test_every_other_usage(self):
        self.write(thin(ARM64))
        for arguments in ((), ("-archs",), ("-archs", ""), (self.path,), (self.path, "-archs"), ("-info", self.path),
                          ("-archs", self.path, self.path), ("-archs", "-info"), ("--help",),
                          ("-thin", "arm64", self.path, "-output", self.path)):
            with self.subTest(arguments=arguments):
                self.assertEqual(self.lipo(*arguments), (2, "", "usage: lipo -archs FILE\n"))

    def test_only_regular_files_are_read(self):
        pipe = os.path.join(self.folder, "pipe")
        os.mkfifo(pipe)
        for path in (self.folder, pipe, "/dev/null"):
            self.assertEqual(self.lipo("-archs", path), (1, "", f"lipo: {path}: not a regular file\n"))
        missing = os.path.join(self.folder, "missing")
        self.assertEqual(self.lipo("-archs", missing), (1, "", f"lipo: {missing}: No such file or directory\n"))

    def test_a_large_file_is_not_read(self):
        self.write(thin(ARM64))
        os.truncate(self.path, 1 << 40)
        self.assertEqual(self.lipo("-archs", self.path), (0, "arm64\n", ""))

    def test_an_answer_that_cannot_be_written_is_a_failure(self):
        self.write(thin(ARM64))
        with open("/dev/full", "w") as full:
            run = subprocess.run([LIPO, "-archs", self.path], stdin=subprocess.DEVNULL, stdout=full,
                                 stderr=subprocess.PIPE, timeout=60, check=False)
        self.assertEqual((run.returncode, run.stderr.decode()),
                         (1, f"lipo: {self.path}: can't write the architectures\n"))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]] + sys.argv[2:], verbosity=2)
