"""Tests that install the suite, uninstall it and undo that, in a copy of the machine."""

from __future__ import annotations

import os
import pwd
import shutil
import stat
import struct
import subprocess
import unittest
from collections.abc import Mapping
from dataclasses import dataclass, replace
from typing import Any

from endtoend import plan, snapshot
from endtoend.account import Account
from endtoend.agents import Agents
from endtoend.check import MAY_APPEAR, MAY_APPEAR_FOR_ROOT
from endtoend.machine_copy import PASSWORD, USER
from endtoend.manifest import Manifest, installed_folders
from endtoend.right import start_services, wait_for_tools
from endtoend.session import Session
from endtoend.snapshot import TREE
from endtoend.suite import LOCAL_FOLDERS, USER_FOLDERS, SampleSuite, give
from endtoend.terminal import Terminal, run_without_terminal

COMPLETE, FAILED, USAGE, LEFT, CANCELLED, NOBODY = range(6)
PASSWORD_PROMPT = "Password of kelvane: "
CACHE = "/Library/Caches/com.quillfen.Ospenth"
TRASH = "/.local/share/Trash"
RECORDS = "/.local/state/kelvane-uninstaller/runs"
YEAR_2001 = 1_000_000_000_123_456_789


@dataclass(frozen=True)
class Whole:
    """An entry with everything that must be as it was."""

    entry: snapshot.Entry
    # Of items of the plan, and what is in them; the folders around them have changed meanwhile.
    modified: int | None
    attributes: tuple[tuple[str, bytes], ...]
    names: int


def attributes_of(path: str) -> tuple[tuple[str, bytes], ...]:
    """Returns the extended attributes of an item, access lists included."""
    return tuple((name, os.getxattr(path, name, follow_symlinks=False))
                 for name in sorted(os.listxattr(path, follow_symlinks=False))
                 if not name.startswith("trusted.overlay"))


def access_list(mode: int) -> bytes:
    """Returns an access list, as the kernel has it, that lets one more user read."""
    owner, group, others = mode >> 6 & 7, mode >> 3 & 7, mode & 7
    everybody = 0xFFFFFFFF
    entries = [(1, owner, everybody), (2, 4, pwd.getpwnam("nobody").pw_uid), (4, group, everybody),
               (0x10, group | 4, everybody), (0x20, others, everybody)]
    return struct.pack("<I", 2) + b"".join(struct.pack("<HHI", *entry) for entry in entries)


def mark(path: str, number: int) -> None:
    """Sets the metadata of an item that a careless move would lose."""
    if os.path.islink(path):
        return
    os.setxattr(path, "system.posix_acl_access", access_list(os.stat(path).st_mode))
    try:
        os.setxattr(path, "user.kelvane.test", str(number).encode())
    except OSError as error:
        print(f"no user attributes here: {error.strerror}")
    os.utime(path, ns=(YEAR_2001, YEAR_2001 + number))


def launchctl_of(program: str) -> str:
    """Returns the stand-in that belongs to the uninstaller's program."""
    build = os.path.dirname(os.path.dirname(program))
    return f"{build}/libexec/kelvane-uninstaller/tools/bin/launchctl"


def clear(account: Account, program: str) -> None:
    """Removes all that another test has left: jobs, and what is in the folders."""
    for label in plan.AGENTS:
        account.run([launchctl_of(program), "remove", label])
    os.makedirs(account.home, exist_ok=True)
    os.chown(account.home, account.uid, account.gid)
    inside = [f"{account.home}/{name}" for name in os.listdir(account.home)]
    for path in (*LOCAL_FOLDERS, *inside, "/var/lib/kelvane-uninstaller"):
        # The tree that is tested may be in the home folder.
        if f"{TREE}/".startswith(f"{path}/"):
            continue
        if os.path.isdir(path) and not os.path.islink(path):
            shutil.rmtree(path)
        elif os.path.lexists(path):
            os.unlink(path)


def give_password(terminal: Terminal, prompt: str = PASSWORD_PROMPT) -> None:
    terminal.wait_for(prompt)
    terminal.wait_until_hidden()
    terminal.type(f"{PASSWORD}\n")


class Undoing(unittest.TestCase):
    """Tests of an account for which the suite is installed anew each time."""

    program = ""
    name = USER
    home = f"/home/{USER}"
    # Those of the user's session, whose service manager runs the jobs; root has none.
    variables: Mapping[str, str] = {}
    # Those of a session with a display.
    on_display: Mapping[str, str] = {}
    session: Session

    def setUp(self) -> None:
        self.account = replace(Account.named(self.name, self.variables if self.name == USER else {}),
                               home=self.home)
        self.terminals: list[Terminal] = []
        clear(self.account, self.program)
        self.install()

    def install(self) -> None:
        """Installs the suite, and takes its manifest."""
        suite = SampleSuite("", self.home, cache_files=40)
        suite.install()
        for folder in USER_FOLDERS:
            give(self.home + folder, self.account.uid, self.account.gid)
        for folder in LOCAL_FOLDERS:
            give(folder, 0, 0)
        self.manifest = Manifest.take("", self.home, installed_folders("", self.home),
                                      suite.processes)
        for number, path in enumerate(self.manifest.planned()):
            mark(path, number)
        os.chmod(self.home + CACHE, 0o555)
        self.agents = Agents(self.account, launchctl_of(self.program))

    def tearDown(self) -> None:
        for terminal in self.terminals:
            terminal.kill()

    def whole(self) -> dict[str, Whole]:
        """Returns everything in the watched folders that a run does not leave behind."""
        planned = self.manifest.planned()
        found = {}
        for path, entry in snapshot.take(self.manifest.watched).items():
            if MAY_APPEAR.fullmatch(path.removeprefix(self.home)) \
                    or MAY_APPEAR_FOR_ROOT.fullmatch(path):
                continue
            status = os.lstat(path)
            is_inside = any(path == item or path.startswith(f"{item}/") for item in planned)
            names = 1 if stat.S_ISDIR(status.st_mode) else status.st_nlink
            found[path] = Whole(entry, status.st_mtime_ns if is_inside else None,
                                attributes_of(path), names)
        return found

    def assert_same(self, before: dict[str, Whole]) -> None:
        after = self.whole()
        for path in sorted(before.keys() | after.keys()):
            self.assertEqual(before.get(path), after.get(path), path)
        trash = self.home + TRASH
        self.assertEqual([], [names for part in ("files", "info") if os.path.isdir(f"{trash}/{part}")
                              for names in os.listdir(f"{trash}/{part}")])

    def assert_gone(self, remove_shared: bool = True) -> None:
        self.assertFalse(os.path.lexists(self.home + CACHE))
        if remove_shared:
            left = [path for path in self.manifest.planned() if os.path.lexists(path)]
            self.assertEqual([], left)

    def perform(self, *options: str, password: bool = True) -> Terminal:
        """Runs the program on a terminal to its end."""
        terminal = Terminal(self.account, [self.program, *options])
        self.terminals.append(terminal)
        if password:
            give_password(terminal)
        terminal.end()
        wait_for_tools()
        return terminal

    def assert_complete(self, terminal: Terminal) -> None:
        self.assertEqual(COMPLETE, terminal.process.returncode, terminal.text())

    def silently(self, *options: str) -> Any:
        done = run_without_terminal(self.account, [self.program, *options])
        self.assertEqual((COMPLETE, b""), (done.returncode, done.stderr))
        return done.stdout


def run_tests(program: str) -> None:
    """Runs the tests of the calling script in a session of the user's."""
    start_services()
    Undoing.program = program
    account = Account.named(USER)
    with Session(account, f"/run/user/{account.uid}", None, wants_manager=True) as session:
        Undoing.session = session
        Undoing.on_display = session.account.variables
        Undoing.variables = {name: value for name, value in session.account.variables.items()
                             if "DISPLAY" not in name}
        unittest.main()
