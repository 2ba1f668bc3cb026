"""Tests that read the uninstaller's windows as a screen reader does."""

from __future__ import annotations

import os
import subprocess
import unittest
from collections.abc import Mapping
from dataclasses import replace

from endtoend.accessibility import Accessibility, Node, Place
from endtoend.account import Account
from endtoend.held_tool import HeldTool
from endtoend.machine_copy import USER
from endtoend.screen import Screen
from endtoend.session import SCREEN, Session
from endtoend.suite import USER_FOLDERS, SampleSuite, give
from endtoend.undoing import clear
from endtoend.waiting import wait_for


class Reading(unittest.TestCase):
    """A session of a user who has a part of the suite, with a screen reader. A tool is held, so that
    the progress window stays until `held` releases it."""

    # The uninstaller's program.
    file: str
    screen_size = SCREEN

    @classmethod
    def setUpClass(cls) -> None:
        assert os.path.isdir("/run/throwaway-copy"), "this test is for a copy"
        user = Account.named(USER)
        cls.session = cls.enterClassContext(
            Session(user, f"/run/user/{user.uid}", None, screen=cls.screen_size))
        cls.reader = Accessibility(cls.session.account)

    def setUp(self) -> None:
        user = self.session.account
        clear(user, self.file)
        SampleSuite("", user.home, cache_files=5).install_in_home()
        for folder in USER_FOLDERS:
            give(user.home + folder, user.uid, user.gid)
        self.held = HeldTool()
        self.addCleanup(self.held.restore)

    def start(self, *options: str, variables: Mapping[str, str] | None = None) -> None:
        """Starts the program, whose windows are then on `screen`."""
        account = self.session.account
        account = replace(account, variables={**account.variables, **(variables or {})})
        self.program: subprocess.Popen[bytes] = account.start([self.file, *options])
        self.addCleanup(self.program.kill)
        self.screen = Screen(account, self.program)

    def windows(self) -> list[Node]:
        """Returns the windows on the screen."""
        return [window for program in self.reader.programs() for window in program.children
                if "showing" in window.states]

    def wait_for(self, role: str, name: str) -> Node:
        """Returns the window that is told of with this role and name."""
        window = wait_for(f"the {role} {name!r}", lambda: next(
            (window for window in self.windows() if window.name == name), None))
        self.assertEqual(role, window.role)
        return window

    def assert_has(self, window: Node, role: str, name: str, *states: str) -> Node:
        found = [node for node in window.all() if (node.role, node.name) == (role, name)]
        self.assertEqual(1, len(found), [(node.role, node.name) for node in window.all()])
        self.assertEqual(set(states), set(states) & found[0].states, name)
        return found[0]

    def place(self, window: Node, node: Node) -> Place:
        """Returns where what is in a window is on the screen, in pixels. In large type the program's
        own unit is larger."""
        shown = next(shown for shown in self.screen.windows() if shown.title == window.name)
        width, _ = self.screen.size(shown)
        return self.reader.place(node).scaled(width / self.reader.place(window).width)

    def assert_buttons(self, window: Node, *names: str) -> None:
        """Asserts that the window has these buttons, each whole on the screen."""
        buttons = [node for node in window.all() if node.role in ("push button", "check box")
                   and "showing" in node.states]
        self.assertEqual(list(names), [button.name for button in buttons])
        for button in buttons:
            place = self.place(window, button)
            self.assertTrue(Place(0, 0, *self.screen_size).holds(place), f"{button.name}: {place}")
