"""The right to act as root."""

from __future__ import annotations

import os
import subprocess


class Refused(Exception):
    """There is something that this machine does not permit; the text names it."""


def words_for_root() -> list[str]:
    """The words that have a command run as root; none when this is root.

    Asks for a password only on a terminal. Raises Refused where root cannot be had.
    """
    if os.geteuid() == 0:
        return []
    sudo = ["sudo"] if os.isatty(0) else ["sudo", "-n"]
    try:
        allowed = subprocess.run([*sudo, "true"], stderr=subprocess.DEVNULL).returncode == 0
    except OSError:
        allowed = False
    if not allowed:
        raise Refused("it needs root, or the right to use sudo")
    return sudo
