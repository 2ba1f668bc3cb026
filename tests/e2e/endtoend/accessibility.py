"""What a screen reader is told of a program, on the bus of the assistive technologies."""

from __future__ import annotations

import json
import subprocess
from collections.abc import Iterator
from dataclasses import dataclass, field
from typing import Any

from endtoend.account import Account

ACCESSIBLE = "org.a11y.atspi.Accessible"
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
    children: list[Node] = field(default_factory=list)

    def all(self) -> Iterator[Node]:
        yield self
        for child in self.children:
            yield from child.all()


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
            raise RuntimeError(done.stderr.decode().strip())
        return json.loads(done.stdout)["data"] if done.stdout else None

    def programs(self) -> list[Node]:
        """Returns the trees of all programs."""
        return [self._node(*child) for child in self._ask(*REGISTRY, "GetChildren")[0]]

    def _ask(self, owner: str, path: str, question: str) -> Any:
        return self._call(*self._address, "call", owner, path, ACCESSIBLE, question)

    def _property(self, owner: str, path: str, name: str) -> str:
        return self._call(*self._address, "get-property", owner, path, ACCESSIBLE, name)

    def _node(self, owner: str, path: str) -> Node:
        low, high = self._ask(owner, path, "GetState")[0]
        bits = low | high << 32
        return Node(self._ask(owner, path, "GetRoleName")[0], self._property(owner, path, "Name"),
                    self._property(owner, path, "Description"),
                    frozenset(name for bit, name in STATES.items() if bits >> bit & 1),
                    [self._node(*child) for child in self._ask(owner, path, "GetChildren")[0]])
