"""A small sample suite: about twenty items of every kind, for tests that install it often."""

from __future__ import annotations

import os

from endtoend import plan
from endtoend.suite import KELVANE, MATCHING_RECEIPTS, PACKAGES, RECEIPTS, SampleSuite

APPLICATIONS = ("Dunmarl", "Lunevar")


class SmallSuite(SampleSuite):
    """Two applications with their jobs, and an item of nearly every step of the plan."""

    def install(self) -> None:
        for name in APPLICATIONS:
            bundle = self.root + plan.application_path(name)
            self._bundle(bundle, plan.identifier(name), name, binary=False)
            self._resources(bundle, 1)
        for program in plan.AGENTS.values():
            self._program(self.root + program)
        self._install_jobs()
        self._install_users_items(f"{self.home}/Library")
        self._install_machine_items(f"{self.root}/Library")
        self._install_stayers()

    def _install_users_items(self, library: str) -> None:
        support = f"{library}/Application Support/Quillfen"
        self._file(f"{support}/Kelvane/Templates/Sch\u00f6n.template", 9000)
        self._file(f"{support}/Shared Resources/Tone.aiff", 2000)
        for name in ("BugReporter", "Ospenth"):
            self._file(f"{library}/Caches/com.quillfen.{name}/data/1", 9000, mode=0o600)
            self._file(f"{library}/Caches/com.quillfen.{name}/data/2", 0)
        os.symlink(f"{self.home}/Music", f"{library}/Caches/com.quillfen.Torvast")
        for name in ("Dunmarl", "Ospenth.LSSharedFileList", "global"):
            self._plist(f"{library}/Preferences/com.quillfen.{name}.plist", {"Name": name})

    def _install_machine_items(self, library: str) -> None:
        self._file(f"{library}/Documentation/Quillfen/Kelvane User Manual.pdf", 15_000)
        for name in ("Dunmarl", "global"):
            self._plist(f"{library}/Preferences/com.quillfen.{name}.plist", {"Name": name})
        self._file(f"{self.root}{RECEIPTS}/{MATCHING_RECEIPTS[0]}/Contents/Archive.bom", 1200)
        self._file(f"{self.root}{PACKAGES}/com.quillfen.pkg.Kelvane.bom", 4500)

    def _install_stayers(self) -> None:
        """What no run may touch, in the folders that it works in."""
        for path in (f"{self.home}/Music/Loop.aiff", f"{self.home}/Documents/Song.kproj",
                     f"{self.home}/Library/Caches/com.tarnwick/data",
                     f"{self.home}/Library/Preferences/com.tarnwick.plist",
                     f"{self.root}/Library/Documentation/Quillfen/Brackish.pdf",
                     f"{self.root}{KELVANE}/Read Me.txt"):
            self._file(path, 500)
