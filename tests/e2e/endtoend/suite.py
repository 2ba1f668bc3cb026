"""The sample suite: everything that one installation leaves on a machine, and its neighbours."""

from __future__ import annotations

import hashlib
import os
import plistlib
import shutil
from dataclasses import dataclass, field
from typing import Any

from endtoend import plan
from endtoend.snapshot import TREE

# A program that runs until it is stopped, whatever its file is called.
RUNNABLE = "/bin/sleep"
VERSION = "4.2.1"

KELVANE = "/Applications/Quillfen/Kelvane"
RECEIPTS = "/Library/Receipts"
PACKAGES = "/private/var/db/receipts"

# A name that is not UTF-8, as Python spells it.
ODD = os.fsdecode(b"\xff\xfe")

MATCHING_RECEIPTS = ("Install Kelvane Extras.pkg", "Install Kelvane 4.2.pkg",
                     "install kelvane 2.pkg", "INSTALL KELVANE 3.PKG",
                     f"Install Kelvane {ODD}.pkg", "Install Kelvane 50% %@ \u00fcber.pkg")
OTHER_RECEIPTS = ("Install Kelvane.pkg", "Install Kelvanes 2.pkg", "Reinstall Kelvane 2.pkg",
                  "Uninstall Kelvane 1.pkg", "Install  Kelvane 2.pkg", "Install Tarnwick 1.pkg")


LOCAL_FOLDERS = ("/Applications", "/Library", "/private")
FILES_IN_A_FOLDER = 100
USER_FOLDERS = ("/Applications", "/Library", "/Documents", "/Music")


@dataclass(frozen=True)
class Process:
    """A program of the suite, or beside it, that runs while the suite is uninstalled."""

    path: str
    is_stopped: bool
    # Who runs it, if not the user of the suite.
    user: str = ""


@dataclass
class SampleSuite:
    """Installs the suite under `root` ("" for the machine itself) and in a home folder."""

    root: str
    home: str
    cache_files: int
    # Additional small files, spread over everything that is taken away.
    more_files: int = 0
    processes: list[Process] = field(default_factory=list)

    def install(self) -> None:
        """The suite and its neighbours."""
        self._install_machine_wide()
        self.install_in_home()
        self._install_more_files()
        self.install_neighbours()
        self._install_links()

    def install_in_home(self) -> None:
        """What the suite keeps for one user."""
        self._install_shared_resources()
        self._install_support_files()
        self._install_caches()
        self._install_user_preferences()
        self._install_jobs()

    def install_neighbours(self) -> None:
        """What has to survive: other makers' things, look-alikes, the user's own files."""
        self._install_neighbouring_applications()
        self._install_neighbouring_files()
        self._install_own_files()

    # The suite.

    def _install_machine_wide(self) -> None:
        self._install_applications()
        self._install_shared_tools()
        self._file(f"{self.root}/Library/Documentation/Quillfen/Kelvane User Manual.pdf", 1_500_000)
        self._install_local_preferences()
        for program in plan.AGENTS.values():
            self._program(self.root + program)
        self._install_receipts()

    def _install_applications(self) -> None:
        # The program looks for one fused name instead of these two, and leaves both running.
        fused = ("Harrowin", "Stelbrin")
        for number, name in enumerate(plan.APPLICATIONS):
            bundle = self.root + plan.application_path(name)
            self._bundle(bundle, plan.identifier(name), name, binary=number % 2 == 1)
            self._resources(bundle, 6 + number)
            self.processes.append(Process(f"{bundle}/Contents/MacOS/{name}", name not in fused))
        for name in ("Dunmarl", "Lunevar"):
            helper = f"{self.root}{plan.application_path(name)}/Contents/Helpers/{name}Helper"
            self._program(helper)
            self.processes.append(Process(helper, True))

    def _install_shared_tools(self) -> None:
        for path, identifier in ((plan.UPDATER_PATH, plan.UPDATER),
                                 (plan.LAUNCHER_PATH, plan.LAUNCHER)):
            bundle = self.root + path
            name = os.path.basename(path).removesuffix(".app")
            self._bundle(bundle, identifier, name, binary=False)
            self._resources(bundle, 4)
            self.processes.append(Process(f"{bundle}/Contents/MacOS/{name}", True))

    def _install_shared_resources(self) -> None:
        shared = f"{self.home}/Library/Application Support/Quillfen/Shared Resources"
        for number in range(12):
            self._file(f"{shared}/Sounds/Tone {number}.aiff", 2000 + 317 * number)

    def _install_support_files(self) -> None:
        support = f"{self.home}/Library/Application Support/Quillfen/Kelvane"
        for name in plan.APPLICATIONS:
            self._file(f"{support}/{name}/Presets/Default.preset", 700)
            self._file(f"{support}/{name}/Licence.key", 64, mode=0o600)
        self._file(f"{support}/Templates/Empty.template", 0)
        self._file(f"{support}/Templates/Sch\u00f6n, \u4f60\u597d \u2013 50%20.template", 9000)
        self._file(f"{support}/Templates/{ODD}", 33)
        os.makedirs(f"{support}/Empty Folder")
        self._file(f"{support}/Sealed/Inside", 5000, mode=0o444)
        os.chmod(f"{support}/Sealed", 0o555)

    def _install_caches(self) -> None:
        caches = f"{self.home}/Library/Caches"
        # The last application's cache is a link: only the link may go.
        *folders, linked = map(plan.identifier, plan.APPLICATIONS)
        for number in range(self.cache_files):
            folder = folders[number % len(folders)]
            self._file(f"{caches}/{folder}/fsCachedData/{number % 16:02X}/{number:06d}",
                       number * 7919 % 6000, mode=(0o644, 0o600, 0o444)[number % 3])
        scratch = f"{self.home}/Music/Scratch"
        self._file(f"{scratch}/Take 1.wav", 44_100)
        os.symlink(scratch, f"{caches}/{linked}")
        for folder in ("com.quillfen.BugReporter", plan.UPDATER, plan.LAUNCHER):
            self._file(f"{caches}/{folder}/Cache.db", 32_768)

    def _install_user_preferences(self) -> None:
        folder = f"{self.home}/Library/Preferences"
        for number, name in enumerate(plan.APPLICATIONS):
            self._plist(f"{folder}/{plan.identifier(name)}.plist",
                        {"LastVersion": VERSION, "Opened": number}, binary=True)
        for name in plan.WITH_RECENT_ITEMS:
            self._plist(f"{folder}/{plan.identifier(name)}.LSSharedFileList.plist",
                        {"RecentDocuments": {"MaxAmount": 10}}, binary=True)
        for identifier in (plan.UPDATER, plan.LAUNCHER, plan.GLOBAL):
            self._plist(f"{folder}/{identifier}.plist", {"FirstRun": False})

    def _install_local_preferences(self) -> None:
        folder = f"{self.root}/Library/Preferences"
        for number, name in enumerate(plan.APPLICATIONS):
            self._plist(f"{folder}/{plan.identifier(name)}.plist", {"Serial": f"KV-{number:04d}"})
        for identifier in (plan.UPDATER, plan.LAUNCHER, plan.GLOBAL):
            self._plist(f"{folder}/{identifier}.plist", {"Channel": "release"})

    def _install_jobs(self) -> None:
        for label, program in plan.AGENTS.items():
            self._agent(f"{self.home}/Library/LaunchAgents", label, self.root + program)

    def _install_receipts(self) -> None:
        receipts = self.root + RECEIPTS
        for number, name in enumerate(MATCHING_RECEIPTS):
            self._file(f"{receipts}/{name}/Contents/Archive.bom", 1200 + 40 * number)
        self._file(f"{self.root}{PACKAGES}/com.quillfen.pkg.Kelvane.bom", 45_000)
        self._plist(f"{self.root}{PACKAGES}/com.quillfen.pkg.Kelvane.plist",
                    {"PackageIdentifier": "com.quillfen.pkg.Kelvane", "PackageVersion": VERSION})

    def _install_more_files(self) -> None:
        library = f"{self.home}/Library"
        hosts = [f"{self.root}{path}/Contents/Resources"
                 for path in (*map(plan.application_path, plan.APPLICATIONS), plan.UPDATER_PATH,
                              plan.LAUNCHER_PATH)]
        hosts += [f"{library}/Application Support/Quillfen/{folder}"
                  for folder in ("Kelvane", "Shared Resources")]
        hosts += [f"{library}/Caches/com.quillfen.{name}"
                  for name in (*plan.APPLICATIONS[:-1], "SoftwareUpdate", "launcher")]
        for first in range(0, self.more_files, FILES_IN_A_FOLDER):
            folder = f"{hosts[first // FILES_IN_A_FOLDER % len(hosts)]}/More/{first}"
            os.makedirs(folder)
            for number in range(first, min(first + FILES_IN_A_FOLDER, self.more_files)):
                file = os.open(f"{folder}/{number}", os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o644)
                os.write(file, b"File %d\n" % number)
                os.close(file)

    # The neighbours.

    def _install_neighbouring_applications(self) -> None:
        applications = f"{self.root}/Applications"
        for path, identifier, name in (
                ("Tarnwick/Dunmarl.app", "com.tarnwick.Dunmarl", "Dunmarl Pro"),
                ("Quillfen/Brackish/Brackish.app", "com.quillfen.Brackish", "Brackish"),
                ("Dunmarl Viewer.app", "com.quillfen.Dunmarl.Viewer", "Dunmarl Viewer"),
                # Its process's name begins with the same 15 characters as the launcher's.
                ("Quillfen App Lasso.app", "com.quillfen.lasso", "Quillfen App Lasso")):
            bundle = f"{applications}/{path}"
            self._bundle(bundle, identifier, name, binary=False)
            self.processes.append(Process(f"{bundle}/Contents/MacOS/{name}", False))
        self._file(f"{applications}/Broken.app/Contents/Info.plist", 3000)
        self._file(f"{self.root}{KELVANE}/Read Me.txt", 800)

    def _install_neighbouring_files(self) -> None:
        library = f"{self.home}/Library"
        for path in ("Application Support/Quillfen/Kelvane Projects/Song.kproj",
                     "Application Support/Quillfen/Brackish/Presets/A.preset",
                     "Caches/com.quillfen.Dunmarl.backup/data", "Caches/com.quillfen/data",
                     "Preferences/com.quillfen.Dunmarl2.plist",
                     # These applications keep no such list as far as the suite knows.
                     "Preferences/com.quillfen.Dunmarl.LSSharedFileList.plist",
                     "Preferences/com.quillfen.Harrowin.LSSharedFileList.plist"):
            self._file(f"{library}/{path}", 500)
        for folder, label in ((f"{library}/LaunchAgents", "com.quillfen.Ospenth"),
                              (f"{library}/LaunchAgents", "com.tarnwick.Dunmarl"),
                              (f"{self.root}/Library/LaunchAgents", "com.quillfen.Dunmarl")):
            self._agent(folder, label)
        for name in OTHER_RECEIPTS:
            self._file(f"{self.root}{RECEIPTS}/{name}/Contents/Archive.bom", 900)
        for path in ("/Library/Documentation/Quillfen/Brackish User Manual.pdf",
                     "/Library/Preferences/com.quillfen.Brackish.plist",
                     f"{PACKAGES}/com.quillfen.pkg.Kelvane2.bom",
                     f"{PACKAGES}/com.quillfen.pkg.Brackish.bom"):
            self._file(self.root + path, 700)

    def _install_own_files(self) -> None:
        documents = f"{self.home}/Documents/Kelvane"
        self._file(f"{documents}/Symphony.kproj/Score", 120_000)
        self._file(f"{documents}/Symphony.kproj/Take {ODD}.wav", 48_000)
        self._file(f"{documents}/Read only.kproj", 10, mode=0o400)
        self._file(f"{self.home}/Music/Kelvane Library/Loop.aiff", 88_200)

    def _install_links(self) -> None:
        """Links in folders that go, to what has to stay."""
        support = f"{self.home}/Library/Application Support/Quillfen/Kelvane"
        os.makedirs(support, exist_ok=True)
        os.symlink(f"{self.home}/Music/Kelvane Library", f"{support}/Library")
        os.symlink("../../../../Documents/Kelvane", f"{support}/Projects")
        os.symlink("/nowhere/at all", f"{support}/Dangling")
        os.link(f"{self.home}/Music/Kelvane Library/Loop.aiff", f"{support}/Loop.aiff")

    # The kinds of things.

    def _file(self, path: str, size: int, mode: int = 0o644) -> None:
        """A file whose content is its own, so that no two can be mistaken for one another."""
        os.makedirs(os.path.dirname(path), exist_ok=True)
        seed = hashlib.sha256(os.fsencode(path)).digest()
        with open(path, "xb") as file:
            file.write((seed * (size // len(seed) + 1))[:size])
        os.chmod(path, mode)

    def _plist(self, path: str, value: dict[str, Any], binary: bool = False) -> None:
        os.makedirs(os.path.dirname(path), exist_ok=True)
        kind = plistlib.FMT_BINARY if binary else plistlib.FMT_XML
        with open(path, "xb") as file:
            plistlib.dump(value, file, fmt=kind)

    def _program(self, path: str) -> None:
        os.makedirs(os.path.dirname(path), exist_ok=True)
        shutil.copyfile(RUNNABLE, path)
        os.chmod(path, 0o755)

    def _bundle(self, path: str, identifier: str, name: str, binary: bool) -> None:
        self._plist(f"{path}/Contents/Info.plist",
                    {"CFBundleIdentifier": identifier, "CFBundleName": name,
                     "CFBundleExecutable": name, "CFBundlePackageType": "APPL",
                     "CFBundleShortVersionString": VERSION, "CFBundleVersion": VERSION},
                    binary)
        self._program(f"{path}/Contents/MacOS/{name}")

    def _resources(self, bundle: str, count: int) -> None:
        for number in range(count):
            self._file(f"{bundle}/Contents/Resources/Part {number}.dat", 1000 + 4321 * number)
        os.symlink("Part 0.dat", f"{bundle}/Contents/Resources/Current")

    def _agent(self, folder: str, label: str, program: str = RUNNABLE) -> None:
        self._plist(f"{folder}/{label}.plist",
                    {"Label": label, "ProgramArguments": [program, "1000000"],
                     "RunAtLoad": True, "KeepAlive": True})


def give(path: str, uid: int, gid: int) -> None:
    """Changes the owner of a folder with its contents, if an owner is given."""
    if os.path.lexists(path):
        os.chown(path, uid, gid, follow_symlinks=False)
    for folder, folders, files in os.walk(path):
        folders[:] = [name for name in folders if os.path.join(folder, name) != TREE]
        for name in folders + files:
            os.chown(os.path.join(folder, name), uid, gid, follow_symlinks=False)
