"""Fetches packages of the npm registry and unpacks them, without a word of the program that is tested."""

import hashlib
import os
import shutil
import subprocess
import tarfile
import tempfile


class Unavailable(Exception):
    """A package cannot be had, or is not the one that was judged."""


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


def unpack(package, archive, folder):
    """The regular files of a package, which are all that npm packs, and what the archives among them hold."""
    # Whatever the publisher calls the outermost folder.
    _unpack(archive, folder, lambda member: member.isreg() and member.name.partition("/")[2])
    for inner, wanted, name in package.archives:
        target = os.path.join(folder, name)
        os.makedirs(target)
        _unpack(os.path.join(folder, inner), target, lambda member: _name_within(member, wanted))


def _name_within(member, wanted):
    """The name of a member, if it is wanted. AppleDouble files, which macOS merges into attributes, are not."""
    name = os.path.normpath(member.name)
    if os.path.basename(name).startswith("._"):
        return None
    return name if wanted == "." or name == wanted or name.startswith(wanted + "/") else None


def _unpack(archive, folder, name_of):
    with tarfile.open(archive) as members:
        for member in members:
            name = name_of(member)
            if not name or name == "." or ".." in name.split("/") or name.startswith("/"):
                continue
            target = os.path.join(folder, name)
            os.makedirs(target if member.isdir() else os.path.dirname(target), exist_ok=True)
            if member.issym():
                os.symlink(member.linkname, target)
            elif member.isreg():
                with members.extractfile(member) as source, open(target, "wb") as copy:
                    shutil.copyfileobj(source, copy)
                os.chmod(target, 0o755 if member.mode & 0o100 else 0o644)
