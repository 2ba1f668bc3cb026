"""What a screen reader is told of a program, on the bus of the assistive technologies."""

from __future__ import annotations

import json
import subprocess
from collections.abc import Iterator
from dataclasses import dataclass, field
from math import ceil, floor
from typing import Any

from endtoend.account import Account

ACCESSIBLE = "org.a11y.atspi.Accessible"
COMPONENT = "org.a11y.atspi.Component"
REGISTRY = ("org.a11y.atspi.Registry", "/org/a11y/atspi/accessible/root")
# Bits of a state, as the protocol numbers them.
STATES = {3: "busy", 4: "checked", 8: "enabled", 11: "focusable", 12: "focused", 25: "showing"}


@dataclass(frozen=True)
class Node:
    """An object with what is in it."""

    role: str
    name: str
    description: str
    states: frozenset[str]
    owner: str
    path: str
    children: list[Node] = field(default_factory=list)

    def all(self) -> Iterator[Node]:
        yield self
        for child in self.children:
            yield from child.all()


@dataclass(frozen=True)
class Place:
    """A rectangle on the screen."""

    x: int
    y: int
    width: int
    height: int

    def scaled(self, factor: float) -> Place:
        left, top = floor(self.x * factor), floor(self.y * factor)
        right = ceil((self.x + self.width) * factor)
        bottom = ceil((self.y + self.height) * factor)
        return Place(left, top, right - left, bottom - top)

    def centre(self) -> tuple[int, int]:
        return (self.x + self.width // 2, self.y + self.height // 2)

    def holds(self, other: Place) -> bool:
        """Returns whether the other rectangle is whole within this one."""
        return (self.x <= other.x and other.x + other.width <= self.x + self.width
                and self.y <= other.y and other.y + other.height <= self.y + self.height)


class Gone(RuntimeError):
    """An object does not answer any more."""


class Accessibility:
    """The bus of one account's session, with a screen reader on it."""

    def __init__(self, account: Account) -> None:
        self._account = account
        self._address: list[str] = []
        self._call("--user", "set-property", "org.a11y.Bus", "/org/a11y/bus", "org.a11y.Status",
                   "ScreenReaderEnabled", "b", "true")
        address = self._call("--user", "call", "org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus",
                             "GetAddress")
        self._address = [f"--address={address[0]}"]

    def _call(self, *words: str) -> Any:
        done = self._account.run(["busctl", "--json=short", *words])
        if done.returncode != 0:
            raise Gone(done.stderr.decode().strip())
        return json.loads(done.stdout)["data"] if done.stdout else None

    def programs(self) -> list[Node]:
        """Returns the trees of all programs; empty if they change meanwhile."""
        try:
            return [self._node(*child) for child in self._ask(*REGISTRY, "GetChildren")[0]]
        except Gone:
            return []

    def states(self, node: Node) -> frozenset[str]:
        """Returns the states that the object has now; empty if it is gone."""
        try:
            return self._states(node.owner, node.path)
        except Gone:
            return frozenset()

    def place(self, node: Node) -> Place:
        """Returns where the object is on the screen, in units of the program's own."""
        return Place(*self._call(*self._address, "call", node.owner, node.path, COMPONENT,
                                 "GetExtents", "u", "0")[0])

    def _ask(self, owner: str, path: str, question: str) -> Any:
        return self._call(*self._address, "call", owner, path, ACCESSIBLE, question)

    def _property(self, owner: str, path: str, name: str) -> str:
        return self._call(*self._address, "get-property", owner, path, ACCESSIBLE, name)

    def _states(self, owner: str, path: str) -> frozenset[str]:
        low, high = self._ask(owner, path, "GetState")[0]
        bits = low | high << 32
        return frozenset(name for bit, name in STATES.items() if bits >> bit & 1)

    def _node(self, owner: str, path: str) -> Node:
        return Node(self._ask(owner, path, "GetRoleName")[0], self._property(owner, path, "Name"),
                    self._property(owner, path, "Description"),
                    self._states(owner, path), owner, path,
                    [self._node(*child) for child in self._ask(owner, path, "GetChildren")[0]])
