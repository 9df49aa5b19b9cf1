"""Zip archives written byte by byte (PKWARE APPNOTE 6.3), so that a test can spoil any one field of them."""

import binascii
import struct
import zlib

UNIX, MS_DOS, VMS, AMIGA, DARWIN = 3, 0, 2, 1, 19
FILE, FOLDER, LINK, PIPE = 0o100644, 0o040755, 0o120777, 0o010644


class Entry:
    """One entry. Fields of the local record and of the directory start out equal; set `local` or `central` to differ."""

    def __init__(self, name, data=b"", mode=None, system=UNIX, deflate=False, flags=0, extra=b"", local=None, central=None,
                 descriptor=b"", packed=None):
        self.name = name if isinstance(name, bytes) else name.encode()
        self.data = data
        if mode is None:
            mode = FOLDER if self.name.endswith(b"/") else FILE
        if packed is None:
            packed = data
            if deflate:
                packer = zlib.compressobj(9, zlib.DEFLATED, -15)
                packed = packer.compress(data) + packer.flush()
        self.packed, self.descriptor = packed, descriptor
        fields = {"name": self.name, "flags": flags, "method": 8 if deflate else 0, "crc": binascii.crc32(data),
                  "packed_size": len(packed), "size": len(data), "extra": extra, "system": system,
                  "attributes": mode << 16, "offset": None, "disk": 0}
        self.local = {**fields, **(local or {})}
        self.central = {**fields, **(central or {})}

    def local_record(self):
        f = self.local
        return struct.pack("<IHHHHHIIIHH", 0x04034B50, 20, f["flags"], f["method"], 0x6000, 0x5A21, f["crc"],
                           f["packed_size"], f["size"], len(f["name"]), len(f["extra"])) \
            + f["name"] + f["extra"] + self.packed + self.descriptor

    def central_record(self, offset):
        f = self.central
        return struct.pack("<IHHHHHHIIIHHHHHII", 0x02014B50, f["system"] << 8 | 20, 20, f["flags"], f["method"], 0x6000,
                           0x5A21, f["crc"], f["packed_size"], f["size"], len(f["name"]), len(f["extra"]), 0, f["disk"], 0,
                           f["attributes"], offset if f["offset"] is None else f["offset"]) + f["name"] + f["extra"]


def end_record(count, size, offset, comment=b""):
    return struct.pack("<IHHHHIIH", 0x06054B50, 0, 0, count, count, size, offset, len(comment)) + comment


def zip64_end_records(count, size, offset):
    at = offset + size
    return struct.pack("<IQHHIIQQQQ", 0x06064B50, 44, 45, 45, 0, 0, count, count, size, offset) \
        + struct.pack("<IIQI", 0x07064B50, 0, at, 1)


def archive(*entries, prefix=b"", hidden=b"", comment=b"", suffix=b"", count=None, zip64=False):
    """The whole file. `hidden` lies between the records and the directory."""
    records, offsets, at = [prefix], [], len(prefix)
    for entry in entries:
        records.append(entry.local_record())
        offsets.append(at)
        at += len(records[-1])
    content = b"".join(records) + hidden
    directory = b"".join(e.central_record(o) for e, o in zip(entries, offsets))
    number = len(entries) if count is None else count
    if zip64:
        end = zip64_end_records(number, len(directory), len(content)) + end_record(0xFFFF, 0xFFFFFFFF, 0xFFFFFFFF, comment)
    else:
        end = end_record(number, len(directory), len(content), comment)
    return content + directory + end + suffix


def field(identifier, content):
    return struct.pack("<HH", identifier, len(content)) + content


def unicode_path(header_name, other_name):
    return field(0x7075, struct.pack("<BI", 1, binascii.crc32(header_name.encode())) + other_name.encode())
