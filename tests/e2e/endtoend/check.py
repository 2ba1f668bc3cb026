"""Proves from a manifest that exactly the planned items have moved, whole, and nothing else."""

from __future__ import annotations

import os
import re
from collections import Counter
from dataclasses import dataclass, field
from enum import Enum
from urllib.parse import unquote_to_bytes

from endtoend import plan, snapshot
from endtoend.manifest import Manifest
from endtoend.right import Right
from endtoend.snapshot import Entry

# What a run may leave behind in the home folder: the log, its record, the way to the Trash, and what
# the toolkit keeps for itself.
RECORD = r"/kelvane-uninstaller(/runs(/\d+\.[^/]+)?)?"
MAY_APPEAR = re.compile(
    rf"/\.local/state({RECORD})?|/\.Trash|/\.local(/share)?|/\.local/share/Trash(/files|/info|/directorysizes)?"
    r"|/Library/Logs(/Quillfen(/.*)?)?|/\.cache(/.*)?|/\.config(/.*)?", re.DOTALL)
# And elsewhere, if it was root's.
MAY_APPEAR_FOR_ROOT = re.compile(rf"/var/lib{RECORD}")


@dataclass(frozen=True)
class Writing:
    """What another program of the desktop writes in the home folder during a run."""

    type: str
    path: re.Pattern[str]


# gvfs keeps file managers' metadata of files, one database for each volume, and moves an item's
# metadata along when it is trashed. A database has a journal, and is replaced as a whole.
OTHERS_WRITINGS = (
    Writing("folder", re.compile(r"/\.local/share/gvfs-metadata")),
    Writing("file", re.compile(
        r"/\.local/share/gvfs-metadata/(home|root|(uuid|label)-[^/]+)"
        r"(-[0-9a-f]{8}\.log|\.[A-Z0-9]{6})?", re.DOTALL)),
)


class Run(Enum):
    """How the uninstall came to its end."""

    WHOLE = "whole"
    # It was killed: an item may still be in its place.
    CUT_SHORT = "cut short"
    # It was killed, and then repeated to the end.
    REPEATED = "repeated"


@dataclass(frozen=True)
class Item:
    """What became of one planned item."""

    step: int
    path: str
    size: int
    where: str
    is_done: bool


@dataclass
class Report:
    """What became of all planned items, and every problem."""

    rows: Counter[int]
    right: Right = Right.NOT_NEEDED
    items: list[Item] = field(default_factory=list)
    problems: list[str] = field(default_factory=list)


def check(manifest: Manifest, remove_shared: bool, right: Right = Right.NOT_NEEDED,
          run: Run = Run.WHOLE) -> Report:
    """If the right is needed, it is for all items in folders of others; if it is refused they must
    stay. A killed run may have left the trashinfo of an item that it did not move."""
    skipped = frozenset() if remove_shared else plan.SHARED_STEPS
    rows = Counter(place.step for place in manifest.places() if place.step not in skipped)
    planned = {path: step for path, step in manifest.planned().items() if step not in skipped}
    return _Check(manifest, Report(rows, right), planned, run).report


def changes(manifest: Manifest) -> list[str]:
    """Returns everything that differs from before."""
    return _Check(manifest, Report(Counter()), {}, Run.WHOLE).report.problems


class _Check:
    def __init__(self, manifest: Manifest, report: Report, planned: dict[str, int],
                 run: Run) -> None:
        self._before = manifest.entries
        self._after = snapshot.take(manifest.watched)
        self._home = manifest.home
        self._trash = f"{manifest.home}/.local/share/Trash"
        self._run = run
        self._expected: set[str] = set()
        self.report = report
        self._names = self._names_in_trash(self._after)
        self._strays = [self._in_trash(name) for name in self._unnoted(self._before)]
        self._group_content([*planned, *self._strays])
        trashed = self._read_trash()
        self._check_strays()
        for path, step in planned.items():
            if run is not Run.WHOLE:
                self._check_after_kill(path, step, trashed.get(path, []))
            elif report.right is Right.REFUSED and manifest.is_in_others_folder(path):
                self._check_left(path, step)
            else:
                self._check_item(path, step, trashed.get(path, []))
        self._check_the_rest()

    def _problem(self, path: str, what: str) -> None:
        self.report.problems.append(f"{printable(path)}: {what}")

    def _group_content(self, owners: list[str]) -> None:
        """Records for every owner everything that was in it, and for the rest that it must stay."""
        self._content: dict[str, list[str]] = {path: [] for path in owners}
        self._staying: list[str] = []
        for path in self._before:
            owner = path
            while owner and owner not in self._content:
                owner = owner.rpartition("/")[0]
            (self._content[owner] if owner else self._staying).append(path)

    def _read_trash(self) -> dict[str, list[str]]:
        """Returns the names in the Trash by the path that each came from, except earlier ones."""
        found: dict[str, list[str]] = {}
        folder = f"{self._trash}/info"
        for file in os.listdir(folder) if os.path.isdir(folder) else []:
            note, name = f"{folder}/{file}", file.removesuffix(".trashinfo")
            if note in self._before:
                continue
            if self._run is not Run.WHOLE:
                self._expected.add(note)
                if f"{self._trash}/files/{name}" not in self._after:
                    continue
            with open(note, "rb") as lines:
                for line in lines:
                    if line.startswith(b"Path="):
                        path = os.fsdecode(unquote_to_bytes(line[5:].rstrip(b"\n")))
                        found.setdefault(path, []).append(name)
        return found

    def _in_trash(self, name: str) -> str:
        return f"{self._trash}/files/{name}"

    def _names_in_trash(self, entries: dict[str, Entry]) -> list[str]:
        files = self._in_trash("")
        names = [path.removeprefix(files) for path in entries if path.startswith(files)]
        return [name for name in names if "/" not in name]

    def _unnoted(self, entries: dict[str, Entry]) -> list[str]:
        """Returns the names in the Trash without a trashinfo."""
        return [name for name in self._names_in_trash(entries)
                if f"{self._trash}/info/{name}.trashinfo" not in entries]

    def _check_strays(self) -> None:
        """Checks that an earlier item without a trashinfo is still there, whole. It may have got
        another name, but no other item may be without."""
        names = self._unnoted(self._after)
        for stray in self._strays:
            own = [name for name in names if self._stands_whole(stray, self._in_trash(name))]
            if len(own) == 1:
                names.remove(own[0])
                self._is_whole(stray, self._in_trash(own[0]))
            else:
                self._problem(stray, f"is {len(own)} times in the Trash")
        for name in names:
            self._problem(self._in_trash(name), "has no trashinfo")

    def _report(self, path: str, step: int, where: str, is_done: bool) -> None:
        size = sum(self._before[inner].size for inner in self._content[path])
        self.report.items.append(Item(step, path, size, where, is_done))

    def _check_item(self, path: str, step: int, names: list[str]) -> None:
        self._report(path, step, *self._whereabouts(path, step in plan.DELETING_STEPS, names))

    def _check_left(self, path: str, step: int) -> None:
        self._report(path, step, "left in place" if self._is_whole(path, path) else "damaged",
                     False)

    def _check_after_kill(self, path: str, step: int, noted: list[str]) -> None:
        """Checks an item of a killed run: whole, and at one place only. A trashinfo may belong to
        another item, so the content decides."""
        original = os.path.basename(path)
        names = {*noted, *(name for name in self._names if is_name_in_trash(name, original))}
        places = [self._in_trash(name) for name in sorted(names)
                  if self._stands_whole(path, self._in_trash(name))]
        if path in self._after:
            places.append(path)
        is_deleted = step in plan.DELETING_STEPS and not places
        may_stay = self._run is Run.CUT_SHORT
        if is_deleted:
            self._report(path, step, "deleted with its job", True)
        elif len(places) == 1 and (may_stay or places[0] != path):
            self._report(path, step, places[0], self._is_whole(path, places[0]))
        else:
            self._problem(path, f"is at {places or 'no place'}")
            self._report(path, step, "unclear", False)

    def _whereabouts(self, path: str, is_deleted: bool, names: list[str]) -> tuple[str, bool]:
        """Returns where an item is now, and whether all of it is where it should be."""
        if not is_deleted and path not in self._after and len(names) == 1:
            where = self._in_trash(names[0])
            self._expected.add(f"{self._trash}/info/{names[0]}.trashinfo")
            return where, self._is_whole(path, where)
        if is_deleted and path not in self._after and not names:
            return "deleted with its job", True
        where = "still there" if path in self._after else f"{len(names)} times in the Trash"
        self._problem(path, where)
        return where, False

    def _stands_whole(self, path: str, where: str) -> bool:
        """Returns whether everything that an item held exists elsewhere; reports no problem if
        not."""
        return all(self._before[inner] == self._after.get(where + inner[len(path):])
                   for inner in self._content[path])

    def _is_whole(self, path: str, where: str) -> bool:
        damaged = False
        for inner in self._content[path]:
            now = where + inner[len(path):]
            self._expected.add(now)
            damaged |= not self._is_same(inner, self._before[inner], self._after.get(now))
        return not damaged

    def _is_same(self, path: str, before: Entry, after: Entry | None) -> bool:
        if after is None:
            self._problem(path, "is gone")
        elif before != after:
            self._problem(path, f"has changed from {before} to {after}")
        return before == after

    def _check_the_rest(self) -> None:
        for path in self._staying:
            if not self._is_others_writing(path):
                self._is_same(path, self._before[path], self._after.get(path))
        for path in self._after.keys() - self._before.keys() - self._expected:
            if not (MAY_APPEAR.fullmatch(self._inside_home(path))
                    or MAY_APPEAR_FOR_ROOT.fullmatch(path)
                    or self._is_others_writing(path)):
                self._problem(path, "has appeared")

    def _inside_home(self, path: str) -> str:
        """Returns a path relative to the home folder; empty for those outside."""
        return path.removeprefix(self._home) if path.startswith(f"{self._home}/") else ""

    def _is_others_writing(self, path: str) -> bool:
        """Returns whether everything at a path, before and now, belongs to another program that the
        user runs."""
        owner = self._before[self._home].owner
        kinds = {(entries[path].type, entries[path].owner)
                 for entries in (self._before, self._after) if path in entries}
        return any(writing.path.fullmatch(self._inside_home(path))
                   and kinds == {(writing.type, owner)} for writing in OTHERS_WRITINGS)


def is_name_in_trash(name: str, original: str) -> bool:
    """Returns whether an item of this original name may have the name in the Trash: its own, with
    the time if that was taken, or numbered if a later item has taken it."""
    stem, extension = os.path.splitext(original)
    stamped = re.escape(f"{stem}_") + r"\d{14}" + re.escape(extension or ".")
    numbered = re.escape(stem) + r"\.\d+" + re.escape(extension)
    return name == original or bool(re.fullmatch(f"{stamped}|{numbered}", name, re.DOTALL))


def printable(path: str) -> str:
    """Returns a path in readable form, whatever bytes it has."""
    return os.fsencode(path).decode(errors="backslashreplace")


def _size(count: int) -> str:
    return f"{count:,} B" if count < 10_000 else f"{count / 1000:,.1f} kB"


def print_report(report: Report, home: str) -> None:
    """Prints the table of all items, the counts by plan step with totals, and the problems."""
    def short(path: str) -> str:
        return printable(re.sub(f"^{re.escape(home)}/", "~/", path))

    width = max((len(short(item.path)) for item in report.items), default=0)
    print(f"\n{'Step':>4}  {'Where it was':<{width}}  {'Size':>12}  Where it is now")
    for item in report.items:
        print(f"{item.step:>4}  {short(item.path):<{width}}  {_size(item.size):>12}  "
              f"{short(item.where)}")
    print(f"\n{'Step':>4}  {'What':<32} {'Rows':>5} {'Taken':>6} {'Size':>12}")
    for step, rows in sorted(report.rows.items()):
        taken = [item for item in report.items if item.step == step and item.is_done]
        print(f"{step:>4}  {plan.TITLES[step]:<32} {rows:>5} {len(taken):>6} "
              f"{_size(sum(item.size for item in taken)):>12}")
    done = [item for item in report.items if item.is_done]
    print(f"      {'Total':<32} {sum(report.rows.values()):>5} {len(done):>6} "
          f"{_size(sum(item.size for item in done)):>12}\n")
    for problem in report.problems:
        print(f"Not as it should be: {problem}")
    if not report.problems:
        left = (", except those that need the administrator's right: they are in their places, "
                "whole" if report.right is Right.REFUSED else "")
        print(f"Exactly the planned items have gone, each whole{left}; nothing else has changed.")
