"""An installation that was interrupted, or half removed by hand."""

from __future__ import annotations

import os
import shutil
from collections.abc import Callable
from itertools import cycle

from endtoend import plan
from endtoend.suite import MATCHING_RECEIPTS

# Known by its identifier alone; its own place is empty.
MOVED = plan.application_path("Torvast")
MOVED_TO = "Applications/Copies/Torvast 2.app"


def _remove(path: str) -> None:
    if os.path.isdir(path) and not os.path.islink(path):
        shutil.rmtree(path)
    elif os.path.lexists(path):
        os.unlink(path)


def _leave(_path: str, _elsewhere: str) -> None:
    pass


def _take_away(path: str, _elsewhere: str) -> None:
    _remove(path)


def _make_empty_folder(path: str, _elsewhere: str) -> None:
    _remove(path)
    os.mkdir(path)


def _make_file(path: str, _elsewhere: str) -> None:
    _remove(path)
    with open(path, "xb") as file:
        file.write(os.fsencode(path))


def _make_broken_link(path: str, _elsewhere: str) -> None:
    _remove(path)
    os.symlink("nowhere", path)


def _make_link(path: str, elsewhere: str) -> None:
    _remove(path)
    os.symlink(elsewhere, path)


# What has become of the items, one after the other.
FATES: tuple[Callable[[str, str], None], ...] = (
    _leave, _take_away, _make_empty_folder, _make_file, _make_broken_link, _make_link, _leave)


def halve(root: str, home: str) -> dict[str, str]:
    """Leaves some items of an installed suite unchanged, and removes or damages the others.

    Returns the path of the moved application, by its original place. Links that replace items lead
    to the user's own music.
    """
    moved = {root + MOVED: f"{home}/{MOVED_TO}"}
    places = dict.fromkeys(place.path for place in plan.places(root, home, [*MATCHING_RECEIPTS]))
    for path, meet_fate in zip(places, cycle(FATES)):
        if path not in moved:
            meet_fate(path, f"{home}/Music")
    for place, now in moved.items():
        os.makedirs(os.path.dirname(now))
        shutil.move(place, now)
    return moved
