"""The windows of a program on an X display, and real input events for them."""

from __future__ import annotations

import os
import subprocess
from dataclasses import dataclass

from endtoend.account import Account
from endtoend.waiting import wait_for

# A window that is drawn has text, whose edges alone have more colours than this.
FEWEST_COLOURS = 8
# The tools wait for good for a window that goes while they look at it.
LOOK_SECONDS = 10


@dataclass(frozen=True)
class Window:
    """A window of a program: its number, and the title it had when it was found."""

    number: str
    title: str


class Screen:
    """One program's windows on the display of an account's session."""

    def __init__(self, account: Account, program: subprocess.Popen[bytes]) -> None:
        self._account = account
        self._program = program
        self._name = os.path.basename(str(program.args[0]))  # type: ignore[index]

    def _run(self, *command: str) -> subprocess.CompletedProcess[bytes]:
        return self._account.run(["timeout", str(LOOK_SECONDS), *command])

    def _xdotool(self, *words: str) -> str:
        return self._run("xdotool", *words).stdout.decode(errors="replace").strip()

    def windows(self) -> list[Window]:
        """Returns the visible windows, in any order."""
        found = self._xdotool("search", "--all", "--onlyvisible", "--pid", str(self._program.pid),
                              "--classname", self._name).split()
        return [Window(number, self._xdotool("getwindowname", number)) for number in found]

    def wait_for_window(self) -> Window:
        """Returns the first window that the program shows."""
        def first() -> Window | None:
            if self._program.poll() is not None:
                raise RuntimeError(f"{self._name} ended with status {self._program.returncode} "
                                   "before it showed a window")
            return next(iter(self.windows()), None)
        return wait_for(f"a window of {self._name}", first)

    def picture(self, window: Window) -> bytes:
        """Returns the window as a PNG file; empty if it is gone."""
        return self._run("import", "-silent", "-window", window.number, "png:-").stdout

    def drawn_picture(self, window: Window, unlike: bytes = b"") -> bytes:
        """Returns the window once it is drawn and differs from an earlier picture; empty if it goes
        before that, because a person may be quicker."""
        def look() -> tuple[bytes] | None:
            picture = self.picture(window)
            if is_drawn(picture) and picture != unlike:
                return (picture,)
            return None if self._is_shown(window) else (b"",)
        return wait_for(f"the window {window.title!r} to be drawn", look)[0]

    def _is_shown(self, window: Window) -> bool:
        return self._program.poll() is None and window.number in [w.number for w in self.windows()]

    def activate(self, window: Window) -> None:
        """Moves the keyboard focus to the window."""
        self._xdotool("windowactivate", "--sync", window.number)

    def minimize(self, window: Window) -> None:
        self._xdotool("windowminimize", window.number)

    def press_key(self, key: str) -> None:
        self._xdotool("key", key)

    def click(self, x: int, y: int) -> None:
        """Clicks at a place of the screen."""
        self._xdotool("mousemove", str(x), str(y), "click", "1")

    def size(self, window: Window) -> tuple[int, int]:
        """Returns the window's width and height."""
        lines = self._xdotool("getwindowgeometry", "--shell", window.number).splitlines()
        values = dict(line.split("=", 1) for line in lines if "=" in line)
        return int(values["WIDTH"]), int(values["HEIGHT"])

    def click_from_corner(self, window: Window, right: int, bottom: int) -> None:
        """Clicks this many pixels from the window's lower right corner."""
        width, height = self.size(window)
        self._xdotool("mousemove", "--window", window.number, str(width - right),
                      str(height - bottom), "click", "1")


def is_drawn(picture: bytes) -> bool:
    if not picture:
        return False
    colours = subprocess.run(["identify", "-format", "%k", "png:-"], input=picture,
                             capture_output=True)
    return colours.returncode == 0 and int(colours.stdout) > FEWEST_COLOURS
