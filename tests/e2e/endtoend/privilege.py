"""The right to act as root."""

from __future__ import annotations

import os
import subprocess


class Refused(Exception):
    """The machine does not permit something; the text names it."""


def words_for_root() -> list[str]:
    """Returns the words that make a command run as root; empty for root.

    Asks for a password only on a terminal. Raises Refused if root is not available.
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
