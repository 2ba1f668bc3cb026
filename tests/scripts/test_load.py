"""The judges of the tests under heavy load notice what is wrong."""

from __future__ import annotations

import os
import sys
import tempfile
import unittest

TESTS = os.path.dirname(os.path.dirname(os.path.realpath(__file__)))
sys.path[:0] = [f"{TESTS}/load", f"{TESTS}/e2e"]

import cases  # noqa: E402
from endtoend.waiting import wait_for  # noqa: E402
from watch import Use, Watch, use_of  # noqa: E402

DATE = b"2026-11-16 12:00:00 +0000 - "
ENTRIES_OF_A_THREAD = 4


def entry(number: int) -> bytes:
    return DATE + b"0-0-%d %s.\n" % (number, b"x" * (number * 37 % 61))


class Log(unittest.TestCase):
    def problems(self, *lines: bytes) -> list[str]:
        """Returns what is wrong with a log of one thread's entries."""
        with tempfile.NamedTemporaryFile() as file:
            file.write(b"".join(lines))
            file.flush()
            self.seen = bytearray(ENTRIES_OF_A_THREAD)
            return list(cases.check_log(file.name, ENTRIES_OF_A_THREAD, self.seen))

    def test_whole_entries_in_order_are_right(self) -> None:
        self.assertEqual([], self.problems(DATE + b"Log started: today\n", entry(0), entry(2)))
        self.assertEqual([0, 2], [number for number, is_seen in enumerate(self.seen) if is_seen])

    def test_what_is_wrong_with_an_entry_is_noticed(self) -> None:
        for name, lines in (("torn", [entry(3)[:-5] + b"\n"]), ("without an end", [entry(1)[:-1]]),
                            ("twice", [entry(1), entry(1)]), ("late", [entry(2), entry(1)]),
                            ("mixed", [DATE + entry(1)]), ("unknown", [DATE + b"something\n"]),
                            ("never written", [entry(ENTRIES_OF_A_THREAD)])):
            with self.subTest(name):
                self.assertNotEqual([], self.problems(*lines))


class Places(unittest.TestCase):
    def problems(self, *contents: bytes) -> list[str]:
        """Returns what is wrong with two items of which the Trash has these."""
        with tempfile.TemporaryDirectory() as trash:
            said = []
            for number, content in enumerate(contents):
                said.append((number, f"{trash}/{number}"))
                with open(said[-1][1], "xb") as file:
                    file.write(content)
            return list(cases.check_places(2, dict(said), said))

    def test_an_item_that_is_missing_or_another_is_noticed(self) -> None:
        self.assertEqual([], self.problems(b"0", b"1"))
        self.assertNotEqual([], self.problems(b"0"))
        self.assertNotEqual([], self.problems(b"0", b"0"))


class Measures(unittest.TestCase):
    def test_each_limit_is_heeded(self) -> None:
        limit = Use(2, 2, 2)
        self.assertEqual([], Use(2, 2, 2).beyond(limit))
        for use in (Use(3, 1, 1), Use(1, 3, 1), Use(1, 1, 3)):
            self.assertEqual(1, len(use.beyond(limit)), use)

    def test_a_process_is_measured(self) -> None:
        use = use_of(os.getpid())
        with tempfile.TemporaryFile():
            self.assertEqual(use.descriptors + 1, use_of(os.getpid()).descriptors)
        self.assertGreater(use.memory, 0)
        self.assertEqual(1, use.threads)

    def test_processes_of_programs_in_a_folder_are_watched(self) -> None:
        with Watch("/nowhere") as elsewhere:
            with Watch(os.path.dirname(os.path.realpath(sys.executable))) as watch:
                wait_for("a measure", lambda: watch.use.memory)
        self.assertEqual(0, elsewhere.use.memory)


if __name__ == "__main__":
    unittest.main()
