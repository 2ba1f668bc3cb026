"""The uninstaller's messages: in the log that it finds and appends to, and on standard error."""

from __future__ import annotations

import os
import tempfile

from endtoend.account import Account

FOLDERS = ("Library", "Library/Logs", "Library/Logs/Quillfen")
LAST_LINES = 5


class ProgramLog:
    """An empty log for a program, in the home folder of the account that runs it; without one it
    prints what it cannot log. `errors` is a file to be its standard error.

    Root has no log: it would be in the machine-wide folders, where nothing may appear.
    """

    def __init__(self, account: Account, program: str) -> None:
        self.errors = tempfile.TemporaryFile()
        self._path: str | None = None
        if account.uid != 0:
            self._path = self._make(account, os.path.splitext(os.path.basename(program))[0])

    def _make(self, account: Account, name: str) -> str:
        for folder in (f"{account.home}/{each}" for each in FOLDERS):
            if not os.path.isdir(folder):
                os.mkdir(folder, 0o700)
                os.chown(folder, account.uid, account.gid)
        path = f"{account.home}/{FOLDERS[-1]}/{name}.1.log"
        with open(path, "xb", opener=lambda p, flags: os.open(p, flags, 0o600)) as file:
            os.fchown(file.fileno(), account.uid, account.gid)
        return path

    def show(self) -> None:
        """Prints the last lines of all messages."""
        if self._path:
            with open(self._path, "rb") as file:
                show_last(self._path, file.read())
        self.errors.seek(0)
        show_last("standard error, as in the system log", self.errors.read())


def show_last(where: str, said: bytes) -> None:
    lines = said.decode(errors="backslashreplace").splitlines()
    last = lines[-LAST_LINES:]
    which = "" if len(last) == len(lines) else f", the last {len(last)} of {len(lines)} lines"
    if lines:
        print(f"\nSaid in {where}{which}:")
    for line in last:
        print(f"  {line}")
