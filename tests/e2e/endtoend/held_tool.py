"""Holds the first tool that the uninstaller runs, so that its progress window can be looked at."""

from __future__ import annotations

import os

TOOL = "/usr/bin/killall"
HELD = "/usr/bin/killall.held"
GATE = "/run/held-tool"
# A question whether a program runs is not held.
SCRIPT = f"""#!/bin/sh
case " $* " in *" -0 "*) ;; *) read -r go < {GATE} ;; esac
exec {HELD} "$@"
"""


class HeldTool:
    """Makes every run of the tool wait, from creation until `release`. For a copy of the
    machine."""

    def __init__(self) -> None:
        os.mkfifo(GATE)
        os.chmod(GATE, 0o644)
        # Open at both ends, so that a release is kept for a tool that starts later.
        self._gate = os.open(GATE, os.O_RDWR)
        os.rename(TOOL, HELD)
        with open(TOOL, "x", encoding="ascii") as file:
            file.write(SCRIPT)
        os.chmod(TOOL, 0o755)

    def release(self) -> None:
        os.write(self._gate, b"go\n")

    def restore(self) -> None:
        """Puts the tool back in its place, once nobody waits any more."""
        os.rename(HELD, TOOL)
        os.close(self._gate)
        os.unlink(GATE)
