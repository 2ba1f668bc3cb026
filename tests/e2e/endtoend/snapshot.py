"""The contents of a folder: every entry with everything that must not change when it is moved."""

from __future__ import annotations

import hashlib
import os
import stat
from collections.abc import Iterable
from dataclasses import dataclass

# What is tested. A folder may have it inside, if that is root's home; it is none of its contents.
TREE = os.path.abspath(f"{os.path.dirname(os.path.realpath(__file__))}/../../..")

# Paths and names are text from os.fsdecode, which preserves bytes that are not UTF-8.

TYPES = {stat.S_IFREG: "file", stat.S_IFDIR: "folder", stat.S_IFLNK: "link", stat.S_IFIFO: "pipe",
         stat.S_IFSOCK: "socket", stat.S_IFCHR: "device", stat.S_IFBLK: "device"}


@dataclass(frozen=True)
class Entry:
    """One file, folder or link."""

    type: str
    size: int
    digest: str
    owner: int
    group: int
    mode: int
    target: str


@dataclass(frozen=True)
class Watched:
    """A folder, and the path by which its content is known ("" for the top of the machine)."""

    folder: str
    known_as: str


def entry_of(path: str) -> Entry:
    status = os.lstat(path)
    kind = TYPES[stat.S_IFMT(status.st_mode)]
    digest = ""
    if kind == "file":
        with open(path, "rb") as file:
            digest = hashlib.file_digest(file, "sha256").hexdigest()
    return Entry(kind, status.st_size if kind == "file" else 0, digest, status.st_uid,
                 status.st_gid, stat.S_IMODE(status.st_mode),
                 os.readlink(path) if kind == "link" else "")


def take(watched: Iterable[Watched]) -> dict[str, Entry]:
    """Returns every entry in the watched folders by path; a missing folder has no entries."""
    found = {}
    for watch in watched:
        if watch.known_as and os.path.lexists(watch.folder):
            found[watch.known_as] = entry_of(watch.folder)
        for folder, folders, files in os.walk(watch.folder):
            folders[:] = [name for name in folders if os.path.join(folder, name) != TREE]
            for name in folders + files:
                path = os.path.join(folder, name)
                found[watch.known_as + path[len(watch.folder):]] = entry_of(path)
    return found
