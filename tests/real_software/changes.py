"""The changes that are made to bundles of others, and the list of what becomes of each."""

import base64
import collections
import hashlib
import os
import shutil

import signed_code

Bundle = collections.namedtuple("Bundle", "package path restoration rows")
# What a bundle is once one change was made to it, and how it is assessed then.
Row = collections.namedtuple("Row", "verdict assessment change arguments")


def read_list(path):
    bundles, package = [], None
    with open(path) as lines:
        for fields in (line.split() for line in lines if not line.startswith("#")):
            if fields and fields[0] == "package":
                package = fields[1]
            elif fields and fields[0] == "bundle":
                bundles.append(Bundle(package, fields[1], fields[2] if fields[2:] else "", []))
            elif fields:
                bundles[-1].rows.append(Row(fields[0], fields[1], fields[2], fields[3:]))
    return bundles


def apply(row, bundle, original, outside, unpacked):
    """Makes one change in a copy of a bundle. Paths that begin with ".." lead from the original to what is beside it,
    and those with a colon to what another package holds, which unpacked(name) gives. What is moved out of the copy goes
    into the folder outside."""
    def found(argument):
        package, colon, path = argument.rpartition(":")
        if colon:
            return os.path.join(unpacked(package), path)
        return os.path.join(original if argument.startswith("../") else bundle, argument)

    change_it = CHANGES[row.change]
    path, *others = [found(argument) for argument in row.arguments] or [bundle]
    if change_it is link:
        others = [outside]
    elif change_it in (edit, add_link, relink):
        others = row.arguments[1:]
    change_it(path, *others)


def nothing(_):
    pass


def change(path):
    """Changes one bit in the middle."""
    _change_at(path, os.path.getsize(path) // 2)


def change_code(path):
    """Changes one bit of a page of the first architecture of an executable."""
    with open(path, "rb") as file:
        begin, end = signed_code.signed_ranges(file.read())[0]
    _change_at(path, (begin + end) // 2)


def _change_at(path, place):
    with open(path, "r+b") as file:
        file.seek(place)
        byte = file.read(1)[0]
        file.seek(place)
        file.write(bytes([byte ^ 1]))


def append(path):
    with open(path, "ab") as file:
        file.write(b"\n")


def shorten(path):
    os.truncate(path, os.path.getsize(path) - 1)


def empty(path):
    os.truncate(path, 0)


def edit(path, old, new):
    """Replaces one text in a file by another of the same length or not."""
    with open(path, "rb") as file:
        content = file.read()
    assert content.count(old.encode()) == 1, "%s does not hold %s once" % (path, old)
    with open(path, "wb") as file:
        file.write(content.replace(old.encode(), new.encode()))


def reseal(path, seal):
    """Changes a resource and writes its new digest into the seal."""
    old = _digest(path)
    append(path)
    edit(seal, old, _digest(path))


def _digest(path):
    with open(path, "rb") as file:
        return base64.b64encode(hashlib.sha256(file.read()).digest()).decode()


def add(path):
    assert not os.path.lexists(path)
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "x") as file:
        file.write("added\n")


def add_empty(path):
    open(path, "x").close()


def add_folder(path):
    os.makedirs(path)


def add_pipe(path):
    os.mkfifo(path)


def add_link(path, target):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    os.symlink(target, path)


def copy(path, source):
    """Puts a copy of one thing in the place of another, or where nothing was."""
    if os.path.lexists(path):
        remove(path)
    os.makedirs(os.path.dirname(path), exist_ok=True)
    shutil.copytree(source, path, symlinks=True) if os.path.isdir(source) else shutil.copy(source, path)


def remove(path):
    shutil.rmtree(path) if os.path.isdir(path) and not os.path.islink(path) else os.remove(path)


def exchange(path, other):
    os.rename(path, path + "~")
    os.rename(other, path)
    os.rename(path + "~", other)


def link(path, outside):
    """Moves something out of the bundle and leaves a link to it."""
    target = os.path.join(outside, os.path.basename(path))
    os.rename(path, target)
    os.symlink(target, path)


def relink(path, target):
    assert os.path.islink(path) and os.readlink(path) != target
    os.remove(path)
    os.symlink(target, path)


def unlink(path):
    """Puts a copy of what a link leads to in its place."""
    copy(path, os.path.realpath(path))


def folder(path):
    """Puts a folder in the place of a file."""
    remove(path)
    os.mkdir(path)


CHANGES = {function.__name__.replace("_", "-"): function
           for function in (nothing, change, change_code, append, shorten, empty, edit, reseal, add, add_empty,
                            add_folder, add_pipe, add_link, copy, remove, exchange, link, relink, unlink, folder)}
