"""Finds signed code on disk and the bytes that its signatures cover, without a word of the program that is tested."""

import os
import plistlib
import shutil
import struct

BUNDLES = (".app", ".appex", ".bundle", ".framework", ".fs", ".kext", ".xpc")
UNIVERSAL, THIN_64, THIN_32 = b"\xca\xfe\xba\xbe", b"\xcf\xfa\xed\xfe", b"\xce\xfa\xed\xfe"
POWER_PC = (0x12, 0x01000012)
LC_CODE_SIGNATURE = 0x1D
CODE_DIRECTORY, ALTERNATE_DIRECTORIES, SIGNED_MESSAGE = 0, range(0x1000, 0x1006), 0x10000


def slices(content):
    """The (offset, size) of each architecture; none if this is no Mach-O file."""
    if content[:4] in (THIN_64, THIN_32):
        return [(0, len(content))]
    # A compiled Java class begins alike, with its version, 43 or more, in the place of the count.
    if content[:4] != UNIVERSAL or not 0 < struct.unpack_from(">I", content, 4)[0] < 43:
        return []
    count = struct.unpack_from(">I", content, 4)[0]
    return [struct.unpack_from(">5I", content, 8 + 20 * i)[2:4] for i in range(count)]


def is_code(path):
    with open(path, "rb") as file:
        return bool(slices(file.read(4096)))


def items(folder):
    """The relative paths of all bundles, and of all Mach-O files that are in none."""
    for path, folders, files in os.walk(folder):
        bundles = [name for name in folders if name.endswith(BUNDLES)]
        folders[:] = [name for name in folders if name not in bundles]
        for name in bundles + [name for name in files if is_code(os.path.join(path, name))]:
            yield os.path.relpath(os.path.join(path, name), folder)


def copied(source, folder, restoration=""):
    """A copy to be spoiled, after a restoration of what its package lacks or has too much of."""
    target = os.path.join(folder, os.path.basename(source))
    if not os.path.isdir(source):
        return shutil.copy(source, target)
    shutil.copytree(source, target, symlinks=True)
    if restoration:
        RESTORATIONS[restoration](target)
    return target


def restore_links(framework):
    """npm packs no links: gives a framework back those that every framework has."""
    versions = os.path.join(framework, "Versions")
    (version,) = os.listdir(versions)
    os.symlink(version, os.path.join(versions, "Current"))
    for name in os.listdir(os.path.join(versions, version)):
        if name != "_CodeSignature":
            os.symlink("Versions/Current/" + name, os.path.join(framework, name))


def restore_signed_executable(framework):
    """Some frameworks were packed with copies in the place of links, and later signed again, ad hoc, in one of the
    places. The executable that the publisher signed, in the root, goes back to where its link led."""
    version = os.path.join(framework, "Versions", "A")
    name = os.path.basename(framework).partition(".")[0]
    shutil.copy(os.path.join(framework, name), os.path.join(version, name))
    for copy in set(os.listdir(framework)) - {"Versions"}:
        path = os.path.join(framework, copy)
        os.remove(path) if os.path.isfile(path) else shutil.rmtree(path)
    shutil.rmtree(os.path.join(framework, "Versions", "Current"))
    restore_links(framework)


def remove_power_pc(bundle):
    """Takes the architectures that no supported system has from the executable. Each has its own signature."""
    path = executable(bundle)
    with open(path, "rb") as file:
        content = file.read()
    (count,) = struct.unpack_from(">I", content, 4)
    entries = [struct.unpack_from(">5I", content, 8 + 20 * i) for i in range(count)]
    kept = [entry for entry in entries if entry[0] not in POWER_PC]
    header, body, start = UNIVERSAL + struct.pack(">I", len(kept)), b"", 4096
    for cpu, subtype, offset, size, _ in kept:
        header += struct.pack(">5I", cpu, subtype, start + len(body), size, 12)
        body += content[offset : offset + size]
        # The last one ends the file.
        if (cpu, subtype) != kept[-1][:2]:
            body += bytes(-len(body) % 4096)
    with open(path, "wb") as file:
        file.write(header.ljust(start, b"\0") + body)


RESTORATIONS = {
    "with-links": restore_links,
    "with-signed-executable": restore_signed_executable,
    "without-power-pc": remove_power_pc,
}


def executable(path):
    """The main executable of an application or a framework; the file itself if it is no bundle."""
    if not os.path.isdir(path):
        return path
    base, information, programs = ("Contents", "Info.plist", "MacOS")
    if os.path.isdir(os.path.join(path, "Versions")):
        base, information, programs = ("Versions/Current", "Resources/Info.plist", "")
    with open(os.path.join(path, base, information), "rb") as file:
        return os.path.join(path, base, programs, plistlib.load(file)["CFBundleExecutable"])


def signature(content, start):
    """The position of a slice's signature, and (type, position) of each of its blobs."""
    header = 28 if content[start : start + 4] == THIN_32 else 32
    (count,) = struct.unpack_from("<I", content, start + 16)
    command = start + header
    for _ in range(count):
        kind, size = struct.unpack_from("<2I", content, command)
        if kind == LC_CODE_SIGNATURE:
            position = start + struct.unpack_from("<I", content, command + 8)[0]
            (blobs,) = struct.unpack_from(">I", content, position + 8)
            index = [struct.unpack_from(">2I", content, position + 12 + 8 * i) for i in range(blobs)]
            return [(kind, position + offset) for kind, offset in index]
        command += size
    raise ValueError("a slice without a signature")


def signed_ranges(content):
    """For each slice the code that its pages cover, and, where somebody has signed them, its CodeDirectories. Without a
    signer anybody can write another directory for the same code, so there only the code is protected."""
    ranges = []
    for start, _ in slices(content):
        blobs = signature(content, start)
        directories = [at for kind, at in blobs if kind == CODE_DIRECTORY or kind in ALTERNATE_DIRECTORIES]
        for at in directories[:1]:
            ranges.append((start, start + struct.unpack_from(">I", content, at + 32)[0]))
        message = [at for kind, at in blobs if kind == SIGNED_MESSAGE]
        if message and struct.unpack_from(">I", content, message[0] + 4)[0] > 8:
            ranges += [(at, at + struct.unpack_from(">I", content, at + 4)[0]) for at in directories]
    return ranges


def identifiers(content):
    """What the CodeDirectories of all slices call the code."""
    found = set()
    for start, _ in slices(content):
        for kind, at in signature(content, start):
            if kind == CODE_DIRECTORY or kind in ALTERNATE_DIRECTORIES:
                begin = at + struct.unpack_from(">I", content, at + 20)[0]
                found.add(content[begin : content.index(b"\0", begin)].decode())
    return found
