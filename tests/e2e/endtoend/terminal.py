"""A program on its own terminal, and a person who reads its output and types."""

from __future__ import annotations

import fcntl
import os
import pty
import re
import select
import signal
import struct
import subprocess
import termios
import time
from collections.abc import Sequence

from endtoend.account import Account
from endtoend.waiting import PATIENCE_SECONDS, TooLate

CTRL_C, CTRL_D = "\x03", "\x04"


class Terminal:
    """Runs from its creation until the program has ended or `close`."""

    def __init__(self, account: Account, command: Sequence[str], columns: int = 80) -> None:
        self._ours, theirs = pty.openpty()
        fcntl.ioctl(theirs, termios.TIOCSWINSZ, struct.pack("HHHH", 40, columns, 0, 0))
        self._unread = b""
        self.said = b""
        # Its own session, whose terminal this is, so that the keys raise signals.
        self.process = account.start(command, stdin=theirs, stdout=theirs, stderr=theirs,
                                     preexec_fn=lambda: take_terminal(theirs),
                                     pass_fds=[theirs])
        os.close(theirs)

    def _read(self, deadline: float) -> bool:
        """Reads the available output; returns False once no more can come."""
        if not select.select([self._ours], [], [], max(0.0, deadline - time.monotonic()))[0]:
            raise TooLate(f"the terminal said nothing new after {self.text()!r}")
        try:
            new = os.read(self._ours, 65536)
        except OSError:
            return False
        self._unread += new
        self.said += new
        return bool(new)

    def wait_for(self, text: str) -> None:
        """Reads until a text appears that was not read before."""
        deadline = time.monotonic() + PATIENCE_SECONDS
        while (found := self._unread.find(text.encode())) < 0:
            if not self._read(deadline):
                raise TooLate(f"{text!r} did not come after {self.text()!r}")
        self._unread = self._unread[found + len(text.encode()):]

    def wait_until_hidden(self) -> None:
        """Waits until what is typed is not shown."""
        deadline = time.monotonic() + PATIENCE_SECONDS
        while termios.tcgetattr(self._ours)[3] & termios.ECHO:
            if time.monotonic() > deadline:
                raise TooLate("what is typed is still shown")
            time.sleep(0.005)

    def type(self, text: str) -> None:
        os.write(self._ours, text.encode())

    def end(self) -> int:
        """Reads to the end and returns the program's status."""
        deadline = time.monotonic() + PATIENCE_SECONDS
        while self._read(deadline):
            pass
        self.close()
        return self.process.wait(PATIENCE_SECONDS)

    def close(self) -> None:
        """Takes the terminal away."""
        if self._ours >= 0:
            os.close(self._ours)
            self._ours = -1

    def kill(self) -> None:
        self.close()
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGKILL)
        self.process.wait()

    def text(self) -> str:
        """Returns all output as the screen shows it at the end: for an overwritten line, what was
        written last."""
        said = self.said.decode(errors="replace").replace("\r\n", "\n")
        return re.sub(r"[^\n]*\r(?=[^\n])", "", said)

    def statuses(self) -> list[str]:
        """Returns the successive contents of the progress line."""
        return [part for line in self.said.decode(errors="replace").split("\r\n")
                for part in line.split("\r") if re.match(r"\[[ =]+\]", part)]


def take_terminal(descriptor: int) -> None:
    os.setsid()
    fcntl.ioctl(descriptor, termios.TIOCSCTTY, 0)


def run_without_terminal(account: Account, command: Sequence[str], answers: bytes = b"") \
        -> subprocess.CompletedProcess[bytes]:
    """Runs a program that reads its answers from a pipe to its end."""
    with account.start(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                       stderr=subprocess.PIPE) as process:
        out, errors = process.communicate(answers, PATIENCE_SECONDS)
    return subprocess.CompletedProcess(list(command), process.returncode, out, errors)
