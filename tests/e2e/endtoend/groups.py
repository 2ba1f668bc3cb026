"""Control groups for a service manager in a throwaway copy of the machine."""

from __future__ import annotations

import fcntl
import os
import secrets
from collections.abc import Iterator
from contextlib import ExitStack, contextmanager
from dataclasses import dataclass

from endtoend.privilege import Refused

PREFIX = "throwaway-copy-"
# Files of a control group that its owner writes to.
FILES = ("cgroup.procs", "cgroup.threads", "cgroup.subtree_control", "tasks")


@dataclass(frozen=True)
class Hierarchy:
    """A tree of control groups that service managers divide, and this process's group in it."""

    folder: str
    is_unified: bool


def hierarchies() -> list[Hierarchy]:
    """Returns those of this machine. Raises Refused if it has none."""
    own = {}
    for line in open("/proc/self/cgroup", encoding="utf-8"):
        _, controllers, path = line.rstrip("\n").split(":", 2)
        own[controllers] = path.rstrip("/")
    found = []
    for line in open("/proc/self/mountinfo", encoding="utf-8"):
        before, after = line.rstrip("\n").split(" - ", 1)
        mount, kind, options = before.split()[4], after.split()[0], after.split()[2]
        if kind == "cgroup2" and "" in own:
            found.append(Hierarchy(mount + own[""], True))
        elif kind == "cgroup" and "name=systemd" in options.split(",") and "name=systemd" in own:
            found.append(Hierarchy(mount + own["name=systemd"], False))
    if not found:
        raise Refused("there are no control groups")
    return found


@contextmanager
def made_for(uid: int, gid: int, parents: list[Hierarchy]) -> Iterator[list[str]]:
    """Creates a group for a user in each hierarchy, and returns their paths. Processes must enter
    them before the block ends: until then no other copy removes the empty groups.

    First removes groups that ended copies have left behind.
    """
    name = PREFIX + secrets.token_hex(4)
    with ExitStack() as locks:
        for parent in parents:
            locks.enter_context(_locked(parent.folder))
        _remove_left_behind(parents)
        for parent in parents:
            _make(f"{parent.folder}/{name}", uid, gid)
        yield [f"{parent.folder}/{name}" for parent in parents]


def enter(groups: list[str]) -> None:
    """Moves this process into the groups."""
    for group in groups:
        with open(f"{group}/cgroup.procs", "w", encoding="ascii") as processes:
            processes.write("0")


def remove(folder: str) -> None:
    """Removes a control group with its subgroups; groups with processes stay."""
    for path, _, _ in os.walk(folder, topdown=False):
        try:
            os.rmdir(path)
        except OSError:
            pass


@contextmanager
def _locked(folder: str) -> Iterator[None]:
    handle = os.open(folder, os.O_RDONLY | os.O_DIRECTORY)
    try:
        fcntl.flock(handle, fcntl.LOCK_EX)
        yield
    finally:
        os.close(handle)


def _remove_left_behind(parents: list[Hierarchy]) -> None:
    """Skips the groups of a live copy, which may be empty but about to be used. Only the unified
    hierarchy shows processes in other namespaces; the groups of a copy share one name."""
    own = [(parent, name) for parent in parents for name in os.listdir(parent.folder)
           if name.startswith(PREFIX)]
    alive = {name for parent, name in own
             if parent.is_unified and _has_processes(f"{parent.folder}/{name}")}
    for parent, name in own:
        if name not in alive:
            remove(f"{parent.folder}/{name}")


def _has_processes(group: str) -> bool:
    with open(f"{group}/cgroup.events", encoding="ascii") as events:
        return "populated 1\n" in events


def _make(group: str, uid: int, gid: int) -> None:
    os.mkdir(group)
    for path in (group, *(f"{group}/{file}" for file in FILES)):
        if os.path.exists(path):
            os.chown(path, uid, gid)
