"""The manifest: what existed where before an uninstall."""

from __future__ import annotations

import json
import os
from collections.abc import Mapping
from dataclasses import asdict, dataclass, field

from endtoend import plan, snapshot
from endtoend.snapshot import Entry, Watched
from endtoend.suite import LOCAL_FOLDERS, Process


@dataclass(frozen=True)
class Manifest:
    """Everything in the watched folders, and the processes of the suite and its neighbours."""

    root: str
    home: str
    watched: list[Watched]
    processes: list[Process]
    entries: dict[str, Entry]
    # Where applications are that are not in their places, by their places.
    moved: Mapping[str, str] = field(default_factory=dict)
    # Dangling links count as missing, and stay.
    broken_links: list[str] = field(default_factory=list)

    @staticmethod
    def take(root: str, home: str, watched: list[Watched], processes: list[Process],
             moved: Mapping[str, str] | None = None) -> Manifest:
        entries = snapshot.take(watched)
        broken = [path for path, entry in entries.items()
                  if entry.type == "link" and not os.path.exists(path)]
        return Manifest(root, home, watched, processes, entries, moved or {}, broken)

    def places(self) -> list[plan.Place]:
        """Returns the rows of the plan, receipts included, whether or not an item exists there."""
        folder = f"{self.root}/Library/Receipts/"
        names = [path.removeprefix(folder) for path in self.entries if path.startswith(folder)]
        return plan.places(self.root, self.home, [name for name in names if "/" not in name],
                           self.moved)

    def planned(self) -> dict[str, int]:
        """Returns the items at places of the plan, with the step that takes each."""
        steps: dict[str, int] = {}
        for place in self.places():
            if place.path in self.entries and place.path not in self.broken_links:
                steps.setdefault(place.path, place.step)
        return steps

    def is_in_others_folder(self, path: str) -> bool:
        """Returns whether an item is where the user of the home folder may not remove it."""
        folder = self.entries.get(os.path.dirname(path))
        return folder is not None and folder.owner != self.entries[self.home].owner

    def write(self, file: str) -> None:
        """Writes one JSON object a line: the frame first, then every entry."""
        planned = self.planned()
        frame = {"root": self.root, "home": self.home, "watched": list(map(asdict, self.watched)),
                 "processes": list(map(asdict, self.processes)), "moved": dict(self.moved),
                 "broken_links": self.broken_links}
        with open(file, "w", encoding="ascii") as out:
            print(json.dumps(frame), file=out)
            for path, entry in self.entries.items():
                step = {"step": planned[path]} if path in planned else {}
                print(json.dumps({"path": path, **asdict(entry), **step}), file=out)

    @staticmethod
    def read(file: str) -> Manifest:
        with open(file, encoding="ascii") as lines:
            frame = json.loads(next(lines))
            entries = {}
            for line in lines:
                values = json.loads(line)
                path = values.pop("path")
                values.pop("step", None)
                entries[path] = Entry(**values)
        return Manifest(frame["root"], frame["home"],
                        [Watched(**watch) for watch in frame["watched"]],
                        [Process(**process) for process in frame["processes"]], entries,
                        frame["moved"], frame["broken_links"])


def installed_folders(root: str, home: str) -> list[Watched]:
    """The folders to watch where only the installation itself can be seen."""
    folders = [root + folder for folder in LOCAL_FOLDERS] + [home]
    return [Watched(folder, folder) for folder in folders]
