"""Waiting for what other processes do."""

from __future__ import annotations

import time
from collections.abc import Callable
from typing import TypeVar

Result = TypeVar("Result")

POLL_SECONDS = 0.005
PATIENCE_SECONDS = 60.0


class TooLate(Exception):
    """The awaited event did not happen in time."""


def wait_for(what: str, ask: Callable[[], Result | None],
             patience: float = PATIENCE_SECONDS) -> Result:
    """Asks repeatedly until there is an answer, and raises TooLate if none comes."""
    deadline = time.monotonic() + patience
    while not (answer := ask()):
        if time.monotonic() > deadline:
            raise TooLate(f"waited {patience:.0f} seconds in vain for {what}")
        time.sleep(POLL_SECONDS)
    return answer
