"""Zip archives of many writers, honest and not, from seeded chance; and which of them `ditto` has to refuse."""

import random
import struct
import unicodedata
import zlib

from zip_bytes import AMIGA, DARWIN, MS_DOS, UNIX, VMS, Entry, archive, field, unicode_path

OS2, MACINTOSH, NTFS, VFAT = 6, 7, 10, 14
KNOWN_SYSTEMS = (MS_DOS, UNIX, NTFS, VFAT, DARWIN)
APP = "Brindlewick.app"
MS_DOS_FOLDER, MS_DOS_READ_ONLY = 0x10, 0x01
UTF8_NAMES, DESCRIBED_BEHIND = 0x0800, 0x0008

# Composed, decomposed, of another form in one of the two; what is ignored when names are compared;
# what shells, other systems and writers treat in a way of their own.
PIECES = ("a", "b", "Contents", "Info.plist", "x y", " lead", "trail ", "dot.", "-rf", "~", "$HOME", "*", "?[a]", "'q'",
          "%41", "#1", ";", "&", "a:b", "a|b", "con", "nul.txt", "._a", ".DS_Store", "__MACOSX", "\u00fc", "u\u0308",
          "\u00c5", "A\u030a", "\u212b", "\ud55c", "\u1112\u1161\u11ab", "\u65e5\u672c", "\u00df", "\u03a3",
          "\U0001f600", "a\u200db", "\ufb01", "\u0958", "e\u0301\u0323", "\u1e9b\u0323", "x" * 255, "\u00fc" * 127)
TWINS = (("a", "A"), ("\u00fc", "u\u0308"), ("\u00fc", "\u00dc"), ("\u212b", "\u00e5"), ("ab", "a\u200db"),
         ("\u03c3", "\u03c2"), ("\u00df", "ss"))
HOSTILE = ("../a", "a/../b", "./a", "a//b", "/a", "..", "a\\b", "a\tb", "a\x7fb", "x" * 256, "y/" * 600 + "y")


class Generated:
    """One archive: its entries, and the bytes of it."""

    def __init__(self, seed):
        self.chance = random.Random(seed)
        self.spoiled = self.chance.choice([None] * 4 + ["name", "twin", "type", "system", "field", "encoding"])
        self.flags = self.chance.choice((0, UTF8_NAMES))
        self.entries = []
        names = self.names()
        place = self.chance.randrange(len(names))
        for number, name in enumerate(names):
            self.entries.append(self.entry(name, self.spoiled if number == place else None))
        self.bytes = archive(*self.entries, zip64=self.chance.random() < 0.2,
                             comment=self.chance.choice((b"", b"a comment")),
                             prefix=self.chance.choice((b"", b"", b"#!/bin/sh\n")))

    def names(self):
        """Of folders and files, in any order; folders have an entry or have none."""
        folders = [APP]
        for _ in range(self.chance.randrange(4)):
            folders.append(self.chance.choice(folders) + "/" + self.chance.choice(PIECES[:-2]))
        count = self.chance.randrange(1, 6)
        files = [self.chance.choice(folders) + "/" + self.chance.choice(PIECES) for _ in range(count)]
        if self.spoiled == "name":
            files.append(f"{APP}/{self.chance.choice(HOSTILE)}")
        if self.spoiled == "twin":
            files += [f"{APP}/t/{name}" for name in self.chance.choice(TWINS)]
        names = dict.fromkeys(files + [folder + "/" for folder in folders if self.chance.random() < 0.6])
        names = list(names)
        self.chance.shuffle(names)
        return names

    def entry(self, name, spoiled):
        is_folder = name.endswith("/")
        encoded = name.encode() + (b"\xfc" if spoiled == "encoding" and not is_folder else b"")
        systems = (VMS, AMIGA, OS2, MACINTOSH) if spoiled == "system" else (UNIX, UNIX) + KNOWN_SYSTEMS
        system = self.chance.choice(systems)
        data = b"" if is_folder else self.chance.choice((b"", b"text\n", bytes(range(256)) * 9))
        attributes = self.attributes(is_folder, system, spoiled == "type")
        options = {"mode": 0, "system": system, "deflate": not is_folder and self.chance.random() < 0.5,
                   "flags": self.flags, "extra": self.extra(name, spoiled == "field"), "local": {},
                   "central": {"attributes": attributes}}
        self.sizes(options, data, is_folder)
        return Entry(encoded, data, **options)

    def attributes(self, is_folder, system, other_type):
        of_unix = self.chance.choice((0, MS_DOS_FOLDER * is_folder))
        low = of_unix if system == UNIX else MS_DOS_FOLDER if is_folder else 0x20
        if other_type:
            return self.chance.choice((0o120777, 0o010644, 0o020644, 0o060644, 0o140755)) << 16 | low
        if system in (MS_DOS, NTFS, VFAT) and self.chance.random() < 0.6:
            return low | (0 if is_folder else self.chance.choice((0, MS_DOS_READ_ONLY)))
        permissions = self.chance.choice((0o755, 0o700, 0o775) if is_folder else (0o644, 0o755, 0o600, 0o444))
        special = self.chance.choice((0, 0, 0o1000, 0o2000, 0o4000, 0o6000))
        return ((0o040000 if is_folder else 0o100000) | special | permissions) << 16 | low

    def extra(self, name, spoiled):
        if spoiled:
            return self.chance.choice((unicode_path(name, f"{APP}/other"), field(0x000D, b"\0" * 12 + b"/etc/passwd"),
                                       field(0x756E, b"\0" * 14 + b"x"), field(0x9901, b"\2\0AE\3\0\0")))
        harmless = (field(0x5455, struct.pack("<BI", 1, 1_700_000_000)), field(0x7875, b"\1\4\xe8\3\0\0\4\xe8\3\0\0"),
                    field(0x5855, struct.pack("<II", 1_600_000_000, 1_600_000_000)), unicode_path(name, name),
                    field(0xCAFE, b""), field(0x4453, b"acl"))
        return b"".join(self.chance.sample(harmless, self.chance.choice((0, 0, 1, 2))))

    def sizes(self, options, data, is_folder):
        """Where the sizes stand: in the record, behind the data, in 64 bits."""
        form = self.chance.choice(("record", "record", "behind", "wide"))
        packed = data
        if options["deflate"]:
            packer = zlib.compressobj(9, zlib.DEFLATED, -15)
            packed = packer.compress(data) + packer.flush()
        if form == "behind" and not is_folder and options["deflate"]:
            options["flags"] |= DESCRIBED_BEHIND
            options["local"].update(crc=0, size=0, packed_size=0)
            signature = self.chance.choice((struct.pack("<I", 0x08074B50), b""))
            options["descriptor"] = signature + struct.pack("<III", zlib.crc32(data), len(packed), len(data))
        if form == "wide":
            wide = {"size": 0xFFFFFFFF, "packed_size": 0xFFFFFFFF,
                    "extra": field(0x0001, struct.pack("<QQ", len(data), len(packed))) + options["extra"]}
            options["local"].update(wide)
            options["central"].update(wide)

    def is_refused(self):
        """By the rules alone."""
        return any(map(is_refused_entry, self.entries)) or have_twins(self.entries)


def is_refused_entry(entry):
    name, fields = entry.name, entry.central
    try:
        path = name.decode()
    except UnicodeDecodeError:
        return True
    path = path[:-1] if path.endswith("/") else path
    if len(path.encode()) > 1024 or any(ord(c) < 32 or c in "\x7f\\" for c in path):
        return True
    if any(piece in ("", ".", "..") or len(piece.encode()) > 255 for piece in path.split("/")):
        return True
    kind = fields["attributes"] >> 28
    if fields["system"] not in KNOWN_SYSTEMS or kind not in (0, 0o10, 0o4):
        return True
    refused = (0x000D, 0x756E, 0x9901)
    return any(identifier in refused or identifier == 0x7075 and content[5:] != name
               for identifier, content in fields_in(fields["extra"]))


def fields_in(extra):
    while extra:
        identifier, size = struct.unpack_from("<HH", extra)
        yield identifier, extra[4:4 + size]
        extra = extra[4 + size:]


def key(name):
    """As a file system of a Mac compares names."""
    folded = unicodedata.normalize("NFC", unicodedata.normalize("NFD", name).casefold())
    return "".join(c for c in folded if c not in "\u200c\u200d")


def have_twins(entries):
    """Whether two entries, or folders around them, would be one on a Mac and are not the same."""
    kinds = {}
    for entry in entries:
        pieces = entry.name.decode().rstrip("/").split("/")
        for count in range(1, len(pieces) + 1):
            is_own = count == len(pieces)
            path = "/".join(pieces[:count])
            is_file = is_own and not entry.name.endswith(b"/")
            spelling, was_file, was_own = kinds.get(key(path), (path, is_file, False))
            if spelling != path or was_file != is_file or (is_own and was_own):
                return True
            kinds[key(path)] = (path, is_file, is_own or was_own)
    return False
