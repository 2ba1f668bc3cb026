"""A desktop session: a display, a window manager and a session bus for one account, and a service
manager if possible."""

from __future__ import annotations

import os
import secrets
import subprocess
from collections.abc import Sequence
from dataclasses import dataclass, replace
from typing import Any

from endtoend.account import Account
from endtoend.waiting import wait_for

SCREEN = (1280, 800)
X_SOCKETS = "/tmp/.X11-unix"
USER_MANAGER = os.path.join(os.path.dirname(os.path.dirname(os.path.realpath(__file__))),
                            "copy-user-manager")


@dataclass(frozen=True)
class Display:
    """An X display and the file with the key to it, if it has one."""

    name: str
    authority: str | None

    def variables(self) -> dict[str, str]:
        key = {"XAUTHORITY": self.authority} if self.authority else {}
        return {"DISPLAY": self.name, **key}


def users_display() -> Display | None:
    """Returns the display of the person who started this, or None if no display answers."""
    name = os.environ.get("DISPLAY")
    if not name:
        return None
    authority = os.environ.get("XAUTHORITY", os.path.expanduser("~/.Xauthority"))
    display = Display(name, authority if os.path.isfile(authority) else None)
    answer = subprocess.run(["xdotool", "getmouselocation"], capture_output=True,
                            env={**os.environ, **display.variables()})
    return display if answer.returncode == 0 else None


class Session:
    """Runs from `with` to the end of its block; `account` then has the session's environment.

    Without a display of the user's the session has a private one, with a window manager; `screen`
    is its width and height. `folder` becomes the session's own folder, closed to other users. With
    `wants_manager`, in a copy of the machine, the bus is that of a service manager; if none can be
    started, a line says why, and the bus is a plain one.
    """

    def __init__(self, account: Account, folder: str, display: Display | None,
                 wants_manager: bool = False, screen: tuple[int, int] = SCREEN) -> None:
        self.account = account
        self.is_private = display is None
        self.has_manager = False
        self._wants_manager = wants_manager
        self._screen = screen
        self._folder = folder
        self._display = display
        self._services: list[subprocess.Popen[bytes]] = []

    def __enter__(self) -> Session:
        os.makedirs(self._folder, mode=0o700, exist_ok=True)
        os.chown(self._folder, self.account.uid, self.account.gid)
        self._know({"XDG_RUNTIME_DIR": self._folder})
        try:
            if self._wants_manager:
                self._start_manager()
            if not self.has_manager:
                self._start_bus()
            if self._display is None:
                self._start_private_display()
            else:
                self._use(self._display)
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_: object) -> None:
        for service in reversed(self._services):
            service.terminate()
            service.wait()
        if self.has_manager:
            subprocess.run([USER_MANAGER, "--end", self.account.name], check=True)

    def _know(self, variables: dict[str, str]) -> None:
        self.account = replace(self.account, variables={**self.account.variables, **variables})

    def _start(self, command: Sequence[str], **options: Any) -> subprocess.Popen[bytes]:
        with open(os.devnull, "r+b") as nowhere:
            options = {"stdin": nowhere, "stdout": nowhere, "stderr": nowhere} | options
            service = self.account.start(command, **options)
        self._services.append(service)
        return service

    def _start_and_read(self, command: Sequence[str], option: str) -> str:
        """Starts a service that writes a line about itself to the descriptor that an option names,
        and returns the line."""
        reader, writer = os.pipe()
        with os.fdopen(reader) as lines:
            with os.fdopen(writer, "wb"):
                self._start([*command, option.format(writer)], pass_fds=[writer])
            line = lines.readline().strip()
        if not line:
            raise RuntimeError(f"{command[0]} does not start")
        return line

    def _start_manager(self) -> None:
        started = subprocess.run([USER_MANAGER, self.account.name], capture_output=True, text=True)
        if started.returncode == 0:
            self.has_manager = True
            self._know(dict(line.split("=", 1) for line in started.stdout.splitlines()))
        else:
            print(started.stderr.partition("\n")[0])

    def _start_bus(self) -> None:
        address = self._start_and_read(["dbus-daemon", "--session", "--nofork", "--nopidfile",
                                        f"--address=unix:path={self._folder}/bus"],
                                       "--print-address={}")
        self._know({"DBUS_SESSION_BUS_ADDRESS": address})

    def _use(self, display: Display) -> None:
        if display.authority is None:
            return self._know(display.variables())
        with open(display.authority, "rb") as original:
            key = original.read()
        own = self._own_file("xauthority", key)
        self._know(Display(display.name, own).variables())

    def _own_file(self, name: str, content: bytes) -> str:
        path = os.path.join(self._folder, name)
        with open(path, "xb", opener=lambda p, flags: os.open(p, flags, 0o600)) as file:
            file.write(content)
        os.chown(path, self.account.uid, self.account.gid)
        return path

    def _start_private_display(self) -> None:
        authority = self._own_file("xauthority", b"")
        cookie = secrets.token_hex(16)
        self._add_key(authority, ":0", cookie)
        # -displayfd has the server take the first number that is free; without -noreset it would
        # turn clients away for a moment whenever the last one leaves.
        width, height = self._screen
        number = self._start_and_read(
            ["Xvfb", "-screen", "0", f"{width}x{height}x24", "-nolisten", "tcp", "-noreset",
             "-auth", authority, "-displayfd"], "{}")
        self._add_key(authority, f":{number}", cookie)
        self._know(Display(f":{number}", authority).variables())
        self._start(["env", f"XDG_CACHE_HOME={self._folder}", "openbox", "--sm-disable"])
        wait_for("the window manager", self._window_manager_is_up)

    def end_private_display(self) -> None:
        """Has the display of the session go away, and with it the window manager."""
        display, manager = self._services[-2:]
        for service in (display, manager):
            service.kill()
            service.wait()

    def _add_key(self, authority: str, display: str, cookie: str) -> None:
        added = self.account.run(["xauth", "-q", "-f", authority, "add", display, ".", cookie])
        if added.returncode != 0:
            raise RuntimeError(f"xauth: {added.stderr.decode().strip()}")

    def _window_manager_is_up(self) -> bool:
        answer = self.account.run(["xprop", "-root", "_NET_SUPPORTING_WM_CHECK"])
        return answer.returncode == 0 and b"window id" in answer.stdout
