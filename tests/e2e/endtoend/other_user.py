"""Another user of the machine with the same items, and other things with the items' names."""

from __future__ import annotations

import os
import subprocess
from urllib.parse import quote

from endtoend import plan
from endtoend.account import Account
from endtoend.suite import Process, SampleSuite, give

NAME = "guest"
# The other user's own in the folders of the suite that everybody shares.
IN_SHARED_FOLDERS = ("/Applications/Quillfen/Kelvane/Guest's Notes.txt",
                     "/Applications/Quillfen/Guest.app/Contents/Info.plist",
                     "/Library/Documentation/Quillfen/Kelvane User Manual (Guest).pdf",
                     "/Library/Preferences/com.quillfen.Guest.plist",
                     "/Library/Receipts/Guest.pkg/Archive.bom")
# Names of items that are in the Trash already: with a trashinfo, and without.
NOTED = ("Dunmarl.app", "com.quillfen.Dunmarl.plist", "com.quillfen.Caddamir")
STRAY = ("Vellicor.app", "com.quillfen.Ospenth.plist", "com.quillfen.Stelbrin",
         "Kelvane User Manual.pdf", "install kelvane 2.pkg")


def install(account: Account) -> list[Process]:
    """Creates the other user, with a whole suite at home, and items with which the suite's user
    `account` and this one are in each other's way. Returns the processes to run."""
    subprocess.run(["useradd", "--create-home", NAME], check=True)
    other = Account.named(NAME)
    SampleSuite("", other.home, cache_files=50).install_in_home()
    _fill_trash(other.home, [*NOTED, *STRAY])
    give(other.home, other.uid, other.gid)
    for path in IN_SHARED_FOLDERS:
        _write(path, f"of {NAME}")
        give(path, other.uid, other.gid)
    _fill_trash(account.home, NOTED)
    for name in STRAY:
        _write_item(f"{account.home}/.local/share/Trash/files/{name}", "stray")
    give(f"{account.home}/.local", account.uid, account.gid)
    program = f"{plan.application_path('Dunmarl')}/Contents/MacOS/Dunmarl"
    return [Process(program, is_stopped=False, user=NAME)]


def _fill_trash(home: str, names: list[str] | tuple[str, ...]) -> None:
    """Puts items into a Trash as if they had come from the suite's folders in the home folder."""
    trash = f"{home}/.local/share/Trash"
    for name in names:
        _write_item(f"{trash}/files/{name}", "from an earlier time")
        _write(f"{trash}/info/{name}.trashinfo",
               f"[Trash Info]\nPath={quote(f'{home}/Library/Preferences/{name}')}\n"
               "DeletionDate=2026-01-01T00:00:00\n")
    for folder in ("", "/files", "/info"):
        os.chmod(trash + folder, 0o700)


def _write_item(path: str, text: str) -> None:
    """Creates a bundle for the name of a bundle, otherwise a file."""
    _write(f"{path}/Contents/Info.plist" if path.endswith(".app") else path, f"{text}: {path}")


def _write(path: str, text: str) -> None:
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "x", encoding="utf-8") as file:
        file.write(text)
