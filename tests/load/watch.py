"""What the product's processes use of the machine while they work, sampled from /proc."""

from __future__ import annotations

import os
import threading
from dataclasses import dataclass, fields

SAMPLE_SECONDS = 0.02
KIB_IN_MIB = 1024


@dataclass
class Use:
    """The most that one process used: of memory, in MiB, open descriptors, and threads."""

    memory: int = 0
    descriptors: int = 0
    threads: int = 0

    def beyond(self, limit: Use) -> list[str]:
        """Returns what exceeds a limit."""
        return [f"{getattr(self, each.name)} {each.name}, more than {getattr(limit, each.name)}"
                for each in fields(self) if getattr(self, each.name) > getattr(limit, each.name)]

    def include(self, other: Use) -> None:
        for each in fields(self):
            setattr(self, each.name, max(getattr(self, each.name), getattr(other, each.name)))


def use_of(process: int) -> Use:
    """Returns what a process uses now, and the most memory that it ever used. Raises OSError if it
    has ended."""
    values = {}
    with open(f"/proc/{process}/status", encoding="utf-8", errors="replace") as lines:
        for line in lines:
            name, _, value = line.partition(":")
            values[name] = value.split()
    # A process that has ended, and is not waited for, has no memory.
    memory = int(values.get("VmHWM", ["0"])[0])
    return Use(-(-memory // KIB_IN_MIB), len(os.listdir(f"/proc/{process}/fd")),
               int(values["Threads"][0]))


class Watch:
    """Looks again and again at all processes whose programs are in a folder, to the end of its
    block."""

    def __init__(self, folder: str) -> None:
        self.use = Use()
        self._folder = folder
        self._is_over = threading.Event()
        self._thread = threading.Thread(target=self._look_on)

    def __enter__(self) -> Watch:
        self._thread.start()
        return self

    def __exit__(self, *_: object) -> None:
        self._is_over.set()
        self._thread.join()

    def _look_on(self) -> None:
        while not self._is_over.wait(SAMPLE_SECONDS):
            for process in filter(str.isdigit, os.listdir("/proc")):
                try:
                    if os.readlink(f"/proc/{process}/exe").startswith(f"{self._folder}/"):
                        self.use.include(use_of(int(process)))
                except OSError:
                    continue  # It has ended.
