"""Where the items of the plan are after a run that was disturbed, and whether they are whole."""

from __future__ import annotations

import os
import re
import stat
from dataclasses import replace
from urllib.parse import unquote_to_bytes

from endtoend import snapshot
from endtoend.undoing import TRASH, Whole, attributes_of

Tree = dict[str, Whole]


def tree_at(path: str) -> Tree:
    """Returns all that is at a path, by the paths inside it; the path itself is ""."""
    if not os.path.lexists(path):
        return {}
    paths = [path] + [os.path.join(folder, name) for folder, folders, files in os.walk(path)
                      for name in folders + files]
    found = {}
    for one in paths:
        status = os.lstat(one)
        names = 1 if stat.S_ISDIR(status.st_mode) else status.st_nlink
        found[one[len(path):]] = Whole(snapshot.entry_of(one), status.st_mtime_ns,
                                       attributes_of(one), names)
    return found


def _content(tree: Tree) -> Tree:
    """Returns what a run may not change for a moment either. It makes a folder writable while it is
    renamed, and a folder that it empties has another date."""
    return {path: replace(whole, modified=None, attributes=(), entry=replace(whole.entry, mode=0))
            if whole.entry.type == "folder" else whole for path, whole in tree.items()}


class Whereabouts:
    """What is at the places of the plan, and of it in the Trash."""

    def __init__(self, home: str, before: dict[str, Tree]) -> None:
        self._before = before
        self._trash = home + TRASH
        self._trashed: dict[str, list[str]] = {}
        for path, place in self._notes():
            self._trashed.setdefault(path, []).append(place)

    def _names(self, part: str) -> list[str]:
        folder = f"{self._trash}/{part}"
        return sorted(os.listdir(folder)) if os.path.isdir(folder) else []

    def _notes(self) -> list[tuple[str, str]]:
        """Returns where each trashed item came from, with its place in the Trash."""
        found = []
        for name in self._names("info"):
            place = f"{self._trash}/files/{name.removesuffix('.trashinfo')}"
            with open(f"{self._trash}/info/{name}", "rb") as lines:
                found += [(os.fsdecode(unquote_to_bytes(line[5:].rstrip(b"\n"))), place)
                          for line in lines if line.startswith(b"Path=")]
        return found

    def places(self, path: str) -> list[str]:
        """Returns where the Trash has what came from a path."""
        return self._trashed.get(path, [])

    def untidy(self) -> list[str]:
        """Returns what no finished run leaves in the Trash: parts, and trashinfos without an item.
        A mark stays for a day, a helper's empty directory until its next copy."""
        items, notes = set(self._names("files")), set(self._names("info"))
        left = items ^ {note.removesuffix(".trashinfo") for note in notes}
        for path in self._before:
            left -= {os.path.basename(path), *self._unnoted(path)}
        return sorted(name for name in left if not name.startswith(".qf-mark-")
                      and not self._is_empty_stage(name))

    def _is_empty_stage(self, name: str) -> bool:
        return name.startswith(".qf-helper-") and not os.listdir(f"{self._trash}/files/{name}")

    def in_trash(self, path: str, exactly: bool = False) -> list[str]:
        """Returns where an item is in the Trash, whole."""
        # Where none can be made, an item that needs the right goes without a trashinfo.
        unnoted = [f"{self._trash}/files/{name}" for name in self._unnoted(path)]
        return [place for place in self.places(path) + unnoted
                if self._is_whole(path, place, exactly)]

    def _unnoted(self, path: str) -> list[str]:
        """Returns the names without a trashinfo that an item from a path can have in the Trash."""
        stem, extension = os.path.splitext(os.path.basename(path))
        pattern = re.compile(rf"{re.escape(stem)}(_\d{{14}})?{re.escape(extension)}")
        notes = set(self._names("info"))
        return [name for name in self._names("files")
                if pattern.fullmatch(name) and f"{name}.trashinfo" not in notes]

    def is_in_place(self, path: str) -> bool:
        return self._is_whole(path, path, False)

    def is_rest(self, path: str) -> bool:
        """Returns whether all that is at the item's place is of the item."""
        before, now = _content(self._before[path]), _content(tree_at(path))
        return all(before.get(inner) == whole for inner, whole in now.items())

    def _is_whole(self, path: str, place: str, exactly: bool) -> bool:
        before, now = self._before[path], tree_at(place)
        return before == now if exactly else _content(before) == _content(now)
