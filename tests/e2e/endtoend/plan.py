"""What an uninstall takes away, written down a second time, independent of the program.

Every place is one row of the program's plan. A step takes what earlier steps have left: the
applications go in step 2, so step 4 finds nothing.
"""

from __future__ import annotations

from collections.abc import Mapping
from dataclasses import dataclass

APPLICATIONS = ("Dunmarl", "Ospenth", "Vellicor", "Harrowin", "Caddamir", "Stelbrin", "Frensow",
                "Gilrath", "Lunevar", "Pemmick", "Torvast")
WITH_RECENT_ITEMS = ("Ospenth", "Vellicor", "Stelbrin", "Frensow", "Gilrath", "Pemmick", "Torvast")
STOPPED = ("Dunmarl", "DunmarlHelper", "Ospenth", "Vellicor", "Quillfen App Launcher",
           "Quillfen Software Update", "Caddamir", "Frensow", "Gilrath", "Lunevar",
           "LunevarHelper", "Pemmick", "Torvast")
UPDATER, LAUNCHER, GLOBAL = "com.quillfen.SoftwareUpdate", "com.quillfen.launcher", \
    "com.quillfen.global"
RECEIPT_PREFIX = "install kelvane "

TITLES = {
    2: "applications, by identifier", 3: "shared tools, by identifier",
    4: "applications, by place", 5: "shared tools, by place", 6: "support folder",
    7: "shared resources", 8: "caches", 9: "caches of shared tools", 10: "preferences",
    11: "recent items", 12: "shared preferences", 13: "manual",
    14: "machine-wide preferences", 15: "shared machine-wide preferences",
    16: "launch agents", 17: "launch agents' files", 18: "receipts", 19: "package receipts",
}
# These find applications by their identifiers, wherever they are.
LOOKUP_STEPS = frozenset({2, 3})
SHARED_STEPS = frozenset({3, 5, 7, 9, 12, 15})
# The items of these steps are deleted with their jobs, not moved to the Trash.
DELETING_STEPS = frozenset({16})


@dataclass(frozen=True)
class Place:
    """One row of the plan: which step looks where."""

    step: int
    path: str


def identifier(application: str) -> str:
    return f"com.quillfen.{application}"


def application_path(name: str) -> str:
    return f"/Applications/Quillfen/Kelvane/{name}.app"


# The labels of the background jobs, with the program that each runs. None is stopped by its name.
AGENTS = {
    "com.quillfen.Dunmarl": f"{application_path('Dunmarl')}/Contents/Helpers/DunmarlAgent",
    "com.quillfen.DunmarlSetup": f"{application_path('Dunmarl')}/Contents/Helpers/DunmarlSetup",
    "com.quillfen.Lunevar": f"{application_path('Lunevar')}/Contents/Helpers/LunevarAgent",
}
UPDATER_PATH = "/Applications/Quillfen/Quillfen Software Update.app"
LAUNCHER_PATH = "/Applications/Quillfen App Launcher.app"


def _local_places() -> list[Place]:
    rows = {
        2: [application_path(name) for name in APPLICATIONS],
        3: [UPDATER_PATH, LAUNCHER_PATH],
        4: [application_path(name) for name in APPLICATIONS],
        5: [UPDATER_PATH, LAUNCHER_PATH],
        13: ["/Library/Documentation/Quillfen/Kelvane User Manual.pdf"],
        14: [f"/Library/Preferences/{identifier(name)}.plist" for name in APPLICATIONS],
        15: [f"/Library/Preferences/{name}.plist" for name in (UPDATER, LAUNCHER, GLOBAL)],
        19: ["/private/var/db/receipts/com.quillfen.pkg.Kelvane.bom",
             "/private/var/db/receipts/com.quillfen.pkg.Kelvane.plist"],
    }
    return [Place(step, path) for step, paths in rows.items() for path in paths]


def _user_places() -> list[Place]:
    rows = {
        6: ["Application Support/Quillfen/Kelvane"],
        7: ["Application Support/Quillfen/Shared Resources"],
        8: ["Caches/com.quillfen.BugReporter"] + [f"Caches/{identifier(name)}"
                                                  for name in APPLICATIONS],
        9: [f"Caches/{name}" for name in (UPDATER, LAUNCHER)],
        10: [f"Preferences/{identifier(name)}.plist" for name in APPLICATIONS],
        11: [f"Preferences/{identifier(name)}.LSSharedFileList.plist"
             for name in WITH_RECENT_ITEMS],
        12: [f"Preferences/{name}.plist" for name in (UPDATER, LAUNCHER, GLOBAL)],
        16: [f"LaunchAgents/{label}.plist" for label in AGENTS],
        17: [f"LaunchAgents/{label}.plist" for label in AGENTS],
    }
    return [Place(step, f"/Library/{path}") for step, paths in rows.items() for path in paths]


def places(root: str, home: str, receipts: list[str],
           moved: Mapping[str, str] | None = None) -> list[Place]:
    """Returns every row that names a place, in the plan's order.

    `root` is the parent of the machine-wide folders ("" for the machine itself); `receipts` are the
    names in the receipts folder, of which those that do not match are left out. `moved` has the
    paths of applications that are found only by their identifiers, by the places where they would
    be.
    """
    found = [Place(place.step, root + place.path) for place in _local_places()]
    found = [Place(place.step, (moved or {}).get(place.path, place.path))
             if place.step in LOOKUP_STEPS else place for place in found]
    found += [Place(place.step, home + place.path) for place in _user_places()]
    found += [Place(18, f"{root}/Library/Receipts/{name}") for name in receipts
              if name.lower().startswith(RECEIPT_PREFIX)]
    return sorted(found, key=lambda place: place.step)
