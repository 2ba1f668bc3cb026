"""How an end-to-end scenario waits for the program's windows."""

from __future__ import annotations

import os
import sys
import unittest
from types import SimpleNamespace
from unittest import mock

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "../e2e"))

from endtoend import scenario  # noqa: E402
from endtoend.screen import Window  # noqa: E402
from endtoend.waiting import PATIENCE_SECONDS, TooLate  # noqa: E402

MAIN = Window("0", "Uninstall")
SHOWN = [MAIN, Window("1", "Progress"), Window("2", "Complete")]


class Follow(unittest.TestCase):
    """A program that shows a window, or ends, each time that so many seconds have passed."""

    def follow(self, seconds: float, is_private: bool = True) -> list[str]:
        """Follows the program on a clock of its own; returns the titles of the windows seen."""
        now = 0.0

        def sleep(_: float) -> None:
            nonlocal now
            now += 1

        def windows() -> list[Window]:
            return SHOWN[:1 + int(now / seconds)]

        def poll() -> int | None:
            return 0 if now >= seconds * len(SHOWN) else None

        met: list[str] = []
        followed = scenario.Scenario.__new__(scenario.Scenario)
        followed._session = SimpleNamespace(is_private=is_private)  # type: ignore[assignment]
        followed._problems = []
        clock = SimpleNamespace(monotonic=lambda: now, sleep=sleep)
        with (mock.patch.object(scenario, "time", clock),
              mock.patch.object(followed, "_meet", lambda _, window: met.append(window.title))):
            followed._follow(SimpleNamespace(windows=windows),  # type: ignore[arg-type]
                             SimpleNamespace(poll=poll, returncode=0),  # type: ignore[arg-type]
                             MAIN)
        self.assertEqual(followed._problems, [])
        return met

    def test_each_window_may_take_as_long_as_the_first(self) -> None:
        self.assertEqual(self.follow(PATIENCE_SECONDS - 2), ["Progress", "Complete"])

    def test_program_that_shows_nothing_new_is_given_up(self) -> None:
        with self.assertRaises(TooLate):
            self.follow(PATIENCE_SECONDS + 2)

    def test_person_may_take_any_time(self) -> None:
        self.assertEqual(self.follow(10 * PATIENCE_SECONDS, is_private=False),
                         ["Progress", "Complete"])


if __name__ == "__main__":
    unittest.main()
