"""The changes that the judge of the tests makes to sources."""

from __future__ import annotations

import os
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.realpath(__file__)), "../mutations"))

import mutants


def changes_of(source: str) -> list[str]:
    return [change.what for change in mutants.changes(source)]


def with_all(source: str) -> str:
    numbers = iter(range(1, 100))
    return mutants.Mutator(source, lambda change: next(numbers)).source()


class Mutants(unittest.TestCase):
    def test_a_call_is_dropped(self) -> None:
        self.assertEqual(with_all("    sync(file);"), "    if (!mutant::is(1)) { sync(file); }")

    def test_two_calls_in_a_row_are_swapped(self) -> None:
        self.assertEqual(
            with_all("first(a);\nsecond(b);"),
            "if (mutant::is(1)) { second(b); first(a); } else "
            "{ if (!mutant::is(2)) { first(a); } if (!mutant::is(3)) { second(b); } }\n")

    def test_a_condition_is_changed_in_each_place_and_negated(self) -> None:
        self.assertEqual(changes_of("if (!a && b < c) {"),
                         ["&& -> ||", "< -> <=", "! -> nothing", "negate"])

    def test_what_changing_the_only_operator_negates_is_not_negated_once_more(self) -> None:
        self.assertEqual(changes_of("if (a == b) {"), ["== -> !="])
        self.assertEqual(changes_of("if (!a) {"), ["! -> nothing"])

    def test_a_loop_is_not_made_endless_by_negating_its_condition(self) -> None:
        self.assertEqual(changes_of("while (walk.next()) {"), [])

    def test_a_lock_is_not_taken(self) -> None:
        self.assertEqual(with_all("const std::lock_guard lock(mutex_);"),
                         "std::unique_lock lock(mutex_, std::defer_lock); "
                         "if (!mutant::is(1)) { lock.lock(); }")

    def test_texts_are_changed_and_not_what_is_in_them(self) -> None:
        self.assertEqual(changes_of('return format("a && b", 12);'),
                         ['"a && b" -> another text', "12 -> (1 + 12)"])

    def test_a_place_that_several_operators_have_is_told(self) -> None:
        self.assertEqual(changes_of("return a == b && c == d;"),
                         ["&& -> ||", "== -> != at 1", "== -> != at 11"])

    def test_declarations_comments_and_directives_stay(self) -> None:
        for source in ("std::string text(path);", "// sync(file);", "#if 1",
                       "constexpr int most = 3;", "if (const auto found = find(1); found) {"):
            self.assertEqual(changes_of(source), [], source)

    def test_a_statement_of_several_lines_is_changed_and_every_line_keeps_its_number(self) -> None:
        lines = with_all("write(file,\n      // why\n      true);\n\nlast(c); // d\n").split("\n")

        self.assertIn("write(file, true);", lines[0])
        self.assertEqual(lines[1:], ["", "", "", "if (!mutant::is(3)) { last(c); }", ""])

    def test_nothing_is_changed_unless_it_is_chosen(self) -> None:
        source = "if (a) {\n    b(1);\n    c(2);\n}"

        self.assertEqual(mutants.Mutator(source, lambda change: None).source(), source)

    def test_a_lambda_in_a_call_is_changed_inside(self) -> None:
        self.assertEqual(changes_of("dispatch([this] {\n    sync(file);\n});"), ["drop"])


if __name__ == "__main__":
    unittest.main()
